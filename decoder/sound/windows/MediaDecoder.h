#pragma once

#include "decoder/sound/SoundDecoder.h"
#include "decoder/sound/windows/ComPointer.h"
#include "decoder/sound/windows/toStereo.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include <windows.h>

#include <mfidl.h>
#include <mfreadwrite.h>

namespace sound {

/// Decodes with the system's own decoders. The sound is as long as the file says.
class MediaDecoder : public SoundDecoder {
public:
    static std::unique_ptr<MediaDecoder> open(std::span<const std::uint8_t> file);

    [[nodiscard]] std::uint32_t rate() const override { return rate_; }

    [[nodiscard]] std::uint32_t channels() const override { return pcm_.channels == 1 ? 1 : 2; }

    [[nodiscard]] std::uint64_t length() const override { return frames_ * frameBytes(); }

    std::size_t read(std::uint64_t position, std::span<std::uint8_t> samples) override;

private:
    explicit MediaDecoder(ComPointer<IMFSourceReader> reader);

    /// Has the first sound, and nothing else, decoded. False when it cannot be.
    bool choose();
    /// Takes the decoder's format, of which it has told none yet if `rate_` is 0.
    bool learnFormat();
    bool learnLength();
    /// Makes `frame` one of the piece's, or behind its end by what the file lacks there.
    void reach(std::uint64_t frame);
    /// Goes to somewhere before `frame`.
    void seek(std::uint64_t frame);
    /// Decodes the piece that follows. False at the end.
    bool next();

    /// Of a time as the system counts it.
    [[nodiscard]] std::uint64_t framesIn(std::uint64_t ticks) const;

    [[nodiscard]] std::uint64_t pieceEnd() const { return start_ + piece_.size() / channels(); }

    ComPointer<IMFSourceReader> reader_;
    PcmFormat pcm_{};
    std::uint32_t rate_ = 0;
    std::uint64_t frames_ = 0;

    /// What was decoded last, which starts at frame `start_` of the sound.
    std::vector<std::int16_t> piece_;
    std::uint64_t start_ = 0;
    /// The next piece says itself where it starts.
    bool sought_ = true;
    /// There is nothing behind the piece.
    bool ended_ = false;
};

} // namespace sound
