#include "decoder/sound/TrackDecoder.h"

#include "format/LittleEndian.h"

extern "C" {
#include <libavutil/channel_layout.h>
#include <libavutil/frame.h>
#include <libavutil/log.h>
#include <libavutil/mem.h>
}

#include <algorithm>
#include <chrono>
#include <cstring>
#include <utility>

namespace sound {

namespace {

// No single thing the libraries keep for an honest file is larger.
constexpr std::size_t kMaxAllocation = std::size_t{256} << 20;

// What a decoder must have heard before it sounds the same as if it had come from the start. MP3
// borrows up to 255 bytes from packets that may hold as few as 11; Opus settles within 80 ms.
constexpr std::size_t kSettlingPackets = 40;
constexpr unsigned kSettlingPartOfSecond = 8;
constexpr std::size_t kMaxSettlingPackets = 256;

// Files that only decoding can measure are long when it takes more than this.
constexpr std::chrono::milliseconds kMeasuringTime{1200};

} // namespace

void SoundDecoder::prepare() {
    av_log_set_level(AV_LOG_QUIET);
}

std::unique_ptr<SoundDecoder> SoundDecoder::open(std::span<const std::uint8_t> file) {
    return TrackDecoder::open(file);
}

std::unique_ptr<TrackDecoder> TrackDecoder::open(std::span<const std::uint8_t> file) {
    av_max_alloc(kMaxAllocation);
    auto track = SoundTrack::load(file);
    if (!track)
        return nullptr;
    std::unique_ptr<TrackDecoder> decoder(new TrackDecoder(std::move(*track)));
    if (!decoder->restart() || !decoder->hears())
        return nullptr;
    if (!decoder->track_.tellsFrames())
        decoder->measure();
    return decoder->length() > 0 ? std::move(decoder) : nullptr;
}

TrackDecoder::TrackDecoder(SoundTrack track)
    : track_(std::move(track)), channels_(track_.parameters().ch_layout.nb_channels == 1 ? 1 : 2) {}

std::uint32_t TrackDecoder::rate() const {
    return static_cast<std::uint32_t>(track_.parameters().sample_rate);
}

std::uint64_t TrackDecoder::length() const {
    return track_.frames() * frameBytes();
}

std::size_t TrackDecoder::read(std::uint64_t position, std::span<std::uint8_t> samples) {
    std::uint64_t frame = position / frameBytes();
    std::size_t filled = 0;
    while (frame < track_.frames() && samples.size() - filled >= frameBytes()) {
        const std::size_t index = track_.packetAt(frame);
        if (index != current_)
            seek(index);
        const SoundTrack::Packet& packet = track_.packets()[index];
        const auto from = static_cast<std::size_t>(frame - packet.start);
        const std::size_t count =
            std::min(packet.frames - from, (samples.size() - filled) / frameBytes());
        std::memcpy(samples.data() + filled, decoded_.data() + from * channels_,
                    count * frameBytes());
        filled += count * frameBytes();
        frame += count;
    }
    return filled;
}

bool TrackDecoder::restart() {
    // A new one and not one that is told to forget: what some decoders keep would make the same
    // place sound different each time.
    const AVCodecParameters& parameters = track_.parameters();
    const AVCodec* codec = avcodec_find_decoder(parameters.codec_id);
    context_.reset(codec == nullptr ? nullptr : avcodec_alloc_context3(codec));
    converter_.reset();
    if (!context_ || !frame_ || !convertsFrom_ || !packet_ ||
        avcodec_parameters_to_context(context_.get(), &parameters) < 0)
        return false;
    context_->thread_count = 1;
    // The track knows what is dropped at its ends.
    context_->flags2 |= AV_CODEC_FLAG2_SKIP_MANUAL;
    return avcodec_open2(context_.get(), codec, nullptr) == 0;
}

bool TrackDecoder::hears() {
    bool heard = false;
    const std::size_t tried = std::min(track_.packets().size(), kMaxSettlingPackets);
    for (std::size_t i = 0; i < tried && !heard; ++i)
        decode(i, [&](const AVFrame&) { heard = true; });
    return heard;
}

void TrackDecoder::measure() {
    const auto end = std::chrono::steady_clock::now() + kMeasuringTime;
    restart();
    for (std::size_t i = 0; i < track_.packets().size(); ++i) {
        std::uint64_t frames = 0;
        decode(i, [&](const AVFrame& frame) {
            frames += static_cast<std::uint64_t>(
                av_rescale(frame.nb_samples, rate(), std::max(frame.sample_rate, 1)));
            // What the decoder itself wants dropped comes first of all.
            const AVFrameSideData* skip =
                av_frame_get_side_data(&frame, AV_FRAME_DATA_SKIP_SAMPLES);
            if (skip != nullptr && skip->size >= sizeof(std::uint32_t))
                track_.dropFront(i, format::loadLe<std::uint32_t>(skip->data));
        });
        track_.setDecoded(i, frames);
        if (std::chrono::steady_clock::now() > end)
            break;
    }
    track_.place();
}

void TrackDecoder::seek(std::size_t index) {
    std::size_t next = current_ + 1;
    // Nothing of a packet that is only decoded on the way is kept. The distance is bounded: it
    // is no further than a new start.
    if (current_ == kNone || index <= current_ || index - current_ > kSettlingPackets) {
        const auto& packets = track_.packets();
        next = index;
        while (next > 0 && index - next < kMaxSettlingPackets &&
               (index - next < kSettlingPackets ||
                packets[index].start - packets[next].start < rate() / kSettlingPartOfSecond))
            --next;
        restart();
    }
    for (; next < index; ++next)
        decode(next, [](const AVFrame&) {});
    fill(index);
    current_ = index;
}

template <class Take>
void TrackDecoder::decode(std::size_t index, Take take) {
    if (!context_ || avcodec_is_open(context_.get()) == 0)
        return;
    const auto bytes = track_.bytes(track_.packets()[index]);
    // A copy, because decoders read a little beyond the end and must find zeros there.
    if (av_new_packet(packet_.get(), static_cast<int>(bytes.size())) < 0)
        return;
    std::memcpy(packet_->data, bytes.data(), bytes.size());
    // A damaged packet is one that gives nothing.
    const auto takeAll = [&] {
        while (avcodec_receive_frame(context_.get(), frame_.get()) == 0)
            take(std::as_const(*frame_));
    };
    if (avcodec_send_packet(context_.get(), packet_.get()) == 0)
        takeAll();
    av_packet_unref(packet_.get());
    // What a decoder has held back belongs to the last one.
    if (index + 1 == track_.packets().size() && avcodec_send_packet(context_.get(), nullptr) == 0)
        takeAll();
}

void TrackDecoder::fill(std::size_t index) {
    const SoundTrack::Packet& packet = track_.packets()[index];
    decoded_.clear();
    const std::size_t wanted = (std::size_t{packet.skip} + packet.frames) * channels_;
    decode(index, [&](const AVFrame& frame) {
        if (decoded_.size() < wanted)
            append(frame);
    });
    decoded_.resize(wanted);
    decoded_.erase(decoded_.begin(),
                   decoded_.begin() + static_cast<std::ptrdiff_t>(packet.skip) * channels_);
}

void TrackDecoder::append(const AVFrame& frame) {
    if (frame.nb_samples <= 0 || frame.sample_rate <= 0)
        return;
    if (!converter_ || frame.format != convertsFrom_->format ||
        frame.sample_rate != convertsFrom_->sample_rate ||
        av_channel_layout_compare(&frame.ch_layout, &convertsFrom_->ch_layout) != 0) {
        AVChannelLayout from = frame.ch_layout;
        AVChannelLayout to{};
        av_channel_layout_default(&to, static_cast<int>(channels_));
        SwrContext* converter = nullptr;
        const int result = swr_alloc_set_opts2(
            &converter, &to, AV_SAMPLE_FMT_S16, track_.parameters().sample_rate, &from,
            static_cast<AVSampleFormat>(frame.format), frame.sample_rate, 0, nullptr);
        converter_.reset(converter);
        convertsFrom_->format = frame.format;
        convertsFrom_->sample_rate = frame.sample_rate;
        if (result < 0 || swr_init(converter) < 0 ||
            av_channel_layout_copy(&convertsFrom_->ch_layout, &frame.ch_layout) < 0) {
            converter_.reset();
            return;
        }
    }
    const int room = swr_get_out_samples(converter_.get(), frame.nb_samples);
    if (room <= 0)
        return;
    const std::size_t before = decoded_.size();
    decoded_.resize(before + static_cast<std::size_t>(room) * channels_);
    auto* out = reinterpret_cast<std::uint8_t*>(decoded_.data() + before);
    const int got =
        swr_convert(converter_.get(), &out, room,
                    const_cast<const std::uint8_t**>(frame.extended_data), frame.nb_samples);
    decoded_.resize(before + static_cast<std::size_t>(std::max(got, 0)) * channels_);
}

} // namespace sound
