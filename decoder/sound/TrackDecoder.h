#pragma once

#include "decoder/av/AvHandle.h"
#include "decoder/sound/SoundDecoder.h"
#include "decoder/sound/SoundTrack.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace sound {

/// Decodes with FFmpeg's libraries. The sound is exactly as long as the file's packets say, and
/// each packet fills its own place in it.
class TrackDecoder : public SoundDecoder {
public:
    static std::unique_ptr<TrackDecoder> open(std::span<const std::uint8_t> file);

    [[nodiscard]] std::uint32_t rate() const override;

    [[nodiscard]] std::uint32_t channels() const override { return channels_; }

    [[nodiscard]] std::uint64_t length() const override;

    std::size_t read(std::uint64_t position, std::span<std::uint8_t> samples) override;

private:
    explicit TrackDecoder(SoundTrack track);

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
