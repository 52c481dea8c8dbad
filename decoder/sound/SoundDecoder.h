#pragma once

#include "decoder/av/AvHandle.h"
#include "decoder/sound/SoundTrack.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace sound {

/// Decodes a sound file to 16-bit samples, the channels of a sample frame side by side, at the
/// file's own rate. More than two channels are mixed to two.
///
/// The sound is exactly as long as the file's packets say. Each packet fills its own place in it:
/// what cannot be decoded is silent, and nothing behind it moves.
class SoundDecoder {
public:
    /// Null when `file` is not the whole or a part of a sound that can be decoded. The bytes are
    /// not needed afterwards.
    static std::unique_ptr<SoundDecoder> open(std::span<const std::uint8_t> file);

    /// Sample frames in a second.
    [[nodiscard]] std::uint32_t rate() const;

    /// 1 or 2.
    [[nodiscard]] std::uint32_t channels() const { return channels_; }

    /// Bytes of a sample frame.
    [[nodiscard]] std::uint32_t frameBytes() const;

    /// Bytes of the whole sound.
    [[nodiscard]] std::uint64_t length() const;

    /// Fills `samples` from byte `position` on, rounded down to a whole frame, as far as the sound
    /// and whole frames go. Returns the bytes filled, 0 only at the end or for less than a frame.
    std::size_t read(std::uint64_t position, std::span<std::uint8_t> samples);

private:
    explicit SoundDecoder(SoundTrack track);

    /// Makes a decoder that has heard nothing yet.
    bool restart();
    /// Whether something can be heard in the track at all.
    bool hears();
    /// Decodes the whole track once, to learn how much is in each packet.
    void measure();
    /// Makes packet `index` the decoded one, from wherever decoding is now.
    void seek(std::size_t index);
    /// Decodes packet `index`, which follows the one decoded before, and lets `take` see each
    /// frame.
    template <class Take>
    void decode(std::size_t index, Take take);
    /// Decodes packet `index` into `decoded_`.
    void fill(std::size_t index);
    void append(const AVFrame& frame);

    SoundTrack track_;
    av::AvHandle<AVCodecContext> context_;
    av::AvHandle<AVFrame> frame_{av_frame_alloc()};
    av::AvHandle<AVPacket> packet_{av_packet_alloc()};
    std::uint32_t channels_;

    /// Converts frames like `convertsFrom_`; made when the first comes or they change.
    av::AvHandle<SwrContext> converter_;
    av::AvHandle<AVFrame> convertsFrom_{av_frame_alloc()};

    /// What the packet `current_` decoded to, exactly its place in the sound long.
    std::vector<std::int16_t> decoded_;
    std::size_t current_ = kNone;

    static constexpr std::size_t kNone = ~std::size_t{0};
};

} // namespace sound
