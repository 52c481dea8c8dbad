#pragma once

#include "audio/SoundProtocol.h"
#include "platform/ChildProcess.h"

#include <cstddef>
#include <cstdint>
#include <span>

namespace audio {

/// A sound that another process decodes. What is in the file can end or stall that process, and
/// make it say anything, but not harm this one. One thread at a time, except for `kill`.
class DecoderProcess {
public:
    /// Gives `file` to a new process. False when it cannot be decoded, after at most 3 seconds.
    bool open(std::span<const std::uint8_t> file);

    /// Of the open sound. Within the limits of the protocol, and at least a frame long.
    [[nodiscard]] const protocol::Format& format() const { return format_; }

    [[nodiscard]] std::uint32_t frameBytes() const {
        return format_.channels * protocol::kSampleBytes;
    }

    /// Fills `samples`, at most `kMostPieceBytes`, from byte `position` of the sound on. Returns
    /// the bytes there were, whole frames; 0 at the end and once the process has failed, which
    /// takes a few seconds to see when it stalls.
    std::size_t read(std::uint64_t position, std::span<std::uint8_t> samples);

    /// Ends the process; a `read` that waits for it returns.
    void kill() { process_.kill(); }

private:
    platform::ChildProcess process_;
    protocol::Format format_{};
};

} // namespace audio
