#pragma once

#include "decoder/Client.h"
#include "decoder/sound/SoundMessage.h"

#include <cstddef>
#include <cstdint>
#include <span>

namespace sound {

/// A sound that another process decodes. One thread at a time, except for `kill`.
class RemoteSound {
public:
    /// Gives `file` to a new process. False when it cannot be decoded, after at most 3 seconds.
    bool open(std::span<const std::uint8_t> file);

    /// Of the open sound. Within the limits of the messages, and at least a frame long.
    [[nodiscard]] const decoder::SoundFormat& format() const { return format_; }

    [[nodiscard]] std::uint32_t frameBytes() const {
        return format_.channels * decoder::kSampleBytes;
    }

    /// Fills `samples`, at most `kMostPieceBytes`, from byte `position` of the sound on. Returns
    /// the bytes there were, whole frames; 0 at the end and once the process has failed, which
    /// takes a few seconds to see when it stalls.
    std::size_t read(std::uint64_t position, std::span<std::uint8_t> samples);

    /// Ends the process; a `read` that waits for it returns.
    void kill() { process_.kill(); }

private:
    decoder::Client process_;
    decoder::SoundFormat format_{};
};

} // namespace sound
