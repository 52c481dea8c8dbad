#pragma once

#include "decoder/sound/SoundMessage.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <span>

namespace audio {

/// An open way to the system's default sound device, which plays until it is destroyed.
class Output {
public:
    /// Fills what the device plays next, at once; from a thread of the output's.
    using Fill = std::function<void(std::span<std::uint8_t> samples)>;

    Output() = default;
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;
    /// Calls no `Fill` any more, and may wait until what it has filled is played.
    virtual ~Output() = default;
};

/// Readies the system's sound. False when there is no device, preferably at `frequency` Hz.
[[nodiscard]] bool takeSystemSound(std::uint32_t frequency);

/// After the last output of what was taken.
void releaseSystemSound();

/// Null when the device cannot be had now. What opens an output destroys it in the same thread.
[[nodiscard]] std::unique_ptr<Output> openOutput(const decoder::SoundFormat& format,
                                                 Output::Fill fill);

} // namespace audio
