#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

namespace sound {

/// Decodes a sound file to 16-bit samples, the channels of a sample frame side by side, at the
/// file's own rate. More than two channels are mixed to two.
///
/// The length never changes: what cannot be decoded is silent, and nothing behind it moves.
class SoundDecoder {
public:
    /// Gets what decoding takes from the system while the process may still ask it for something.
    /// Before the first `open`, once.
    static void prepare();

    /// Null when `file` is not the whole or a part of a sound that can be decoded. The bytes are
    /// not needed afterwards.
    static std::unique_ptr<SoundDecoder> open(std::span<const std::uint8_t> file);

    SoundDecoder() = default;
    SoundDecoder(const SoundDecoder&) = delete;
    SoundDecoder& operator=(const SoundDecoder&) = delete;
    virtual ~SoundDecoder() = default;

    /// Sample frames in a second.
    [[nodiscard]] virtual std::uint32_t rate() const = 0;

    /// 1 or 2.
    [[nodiscard]] virtual std::uint32_t channels() const = 0;

    /// Bytes of the whole sound.
    [[nodiscard]] virtual std::uint64_t length() const = 0;

    /// Fills `samples` from byte `position` on, rounded down to a whole frame, as far as the sound
    /// and whole frames go. Returns the bytes filled, 0 only at the end or for less than a frame.
    virtual std::size_t read(std::uint64_t position, std::span<std::uint8_t> samples) = 0;

    /// Bytes of a sample frame.
    [[nodiscard]] std::uint32_t frameBytes() const {
        return channels() * static_cast<std::uint32_t>(sizeof(std::int16_t));
    }
};

} // namespace sound
