#include "decoder/sound/SoundTrack.h"

#include "decoder/av/openContainer.h"
#include "format/LittleEndian.h"

#include <algorithm>
#include <cstring>

namespace sound {

namespace {

// What a preview plays. Other containers, and what only refers to other files, stay closed.
constexpr const char* kContainers = "mp3,ogg,asf,flac,aac,mov,wav";
constexpr const char* kDecoders =
    "mp3float,mp3,mp2float,mp2,mp1float,mp1,aac,alac,flac,vorbis,opus,speex,wmav1,wmav2,wmapro,"
    "wmalossless,wmavoice,pcm_u8,pcm_s16le,pcm_s16be,pcm_s24le,pcm_s24be,pcm_s32le,pcm_s32be,"
    "pcm_f32le,pcm_f32be,pcm_f64le,pcm_alaw,pcm_mulaw,adpcm_ms,adpcm_ima_wav";

// A container can refer to the same bytes again and again; no honest one comes near these.
constexpr std::size_t kMaxPayload = std::size_t{64} << 20;
constexpr std::size_t kMaxPackets = std::size_t{4} << 20;
constexpr std::uint32_t kMaxPacketFrames = 1U << 20;
constexpr int kMaxRate = 768000;
constexpr int kMaxChannels = 64;
constexpr int kMaxIdleReads = 100;

// How the library says that sample frames are to be dropped: two 32-bit numbers at these bytes.
constexpr std::size_t kSkipFront = 0;
constexpr std::size_t kSkipBack = 4;
constexpr std::size_t kSkipBytes = 8;

/// Whether the durations of such packets are counted from what they hold.
bool countsFrames(const AVCodecParameters& parameters, AVRational timeBase) {
    const int rate = parameters.sample_rate;
    if (timeBase.num != 1 || (timeBase.den % rate != 0 && rate % timeBase.den != 0))
        return false;
    switch (parameters.codec_id) {
    case AV_CODEC_ID_MP1:
    case AV_CODEC_ID_MP2:
    case AV_CODEC_ID_MP3:
    case AV_CODEC_ID_AAC:
    case AV_CODEC_ID_ALAC:
    case AV_CODEC_ID_FLAC:
    case AV_CODEC_ID_VORBIS:
    case AV_CODEC_ID_OPUS:
        return true;
    default:
        return av_get_bits_per_sample(parameters.codec_id) > 0;
    }
}

} // namespace

std::optional<SoundTrack> SoundTrack::load(std::span<const std::uint8_t> file) {
    const av::MemoryInput input(file);
    const av::AvHandle<AVFormatContext> container =
        av::openContainer(input, kContainers, kDecoders, AVMEDIA_TYPE_AUDIO);
    if (!container)
        return std::nullopt;
    const int best = av_find_best_stream(container.get(), AVMEDIA_TYPE_AUDIO, -1, -1, nullptr, 0);
    if (best < 0)
        return std::nullopt;
    const AVStream& stream = *container->streams[best];
    SoundTrack track;
    track.parameters_.reset(avcodec_parameters_alloc());
    if (!track.parameters_ || avcodec_parameters_copy(track.parameters_.get(), stream.codecpar) < 0)
        return std::nullopt;
    const AVCodecParameters& parameters = *track.parameters_;
    if (parameters.sample_rate <= 0 || parameters.sample_rate > kMaxRate ||
        parameters.ch_layout.nb_channels <= 0 || parameters.ch_layout.nb_channels > kMaxChannels)
        return std::nullopt;
    track.tellsFrames_ = countsFrames(parameters, stream.time_base);
    track.durationsAreCut_ = std::strcmp(container->iformat->name, "ogg") == 0;

    const av::AvHandle<AVPacket> packet(av_packet_alloc());
    if (!packet)
        return std::nullopt;
    track.payload_.reserve(std::min(file.size(), kMaxPayload));
    for (int idle = 0; idle < kMaxIdleReads;) {
        const int result = av_read_frame(container.get(), packet.get());
        if (result == AVERROR(EAGAIN)) {
            ++idle;
            continue;
        }
        if (result < 0 || track.packets_.size() == kMaxPackets ||
            static_cast<std::size_t>(std::max(packet->size, 0)) >
                kMaxPayload - track.payload_.size())
            break;
        if (packet->stream_index == best && packet->size > 0) {
            track.add(*packet, stream.time_base);
            idle = 0;
        }
        av_packet_unref(packet.get());
    }
    track.place();
    return track;
}

void SoundTrack::add(const AVPacket& packet, AVRational timeBase) {
    Packet added;
    added.offset = static_cast<std::uint32_t>(payload_.size());
    added.size = static_cast<std::uint32_t>(packet.size);
    added.hidden = (packet.flags & AV_PKT_FLAG_DISCARD) != 0;
    payload_.insert(payload_.end(), packet.data, packet.data + packet.size);

    std::size_t sideSize = 0;
    const std::uint8_t* side =
        av_packet_get_side_data(&packet, AV_PKT_DATA_SKIP_SAMPLES, &sideSize);
    if (side != nullptr && sideSize >= kSkipBytes) {
        added.dropFront = format::loadLe<std::uint32_t>(side + kSkipFront);
        added.dropBack = format::loadLe<std::uint32_t>(side + kSkipBack);
    }
    // In Ogg the last packet's duration is what is left of it already.
    if (durationsAreCut_)
        added.dropBack = 0;
    std::int64_t duration = packet.duration;
    if (duration > 0)
        duration = av_rescale_q(duration, timeBase, {1, parameters_->sample_rate});
    else
        tellsFrames_ = false;
    // The first packet of Vorbis only opens the overlap with the second.
    if (parameters_->codec_id == AV_CODEC_ID_VORBIS && packets_.empty())
        duration = 0;
    packets_.push_back(added);
    setDecoded(packets_.size() - 1,
               static_cast<std::uint64_t>(std::max<std::int64_t>(duration, 0)));
}

void SoundTrack::dropFront(std::size_t index, std::uint32_t frames) {
    packets_[index].dropFront = frames;
}

void SoundTrack::setDecoded(std::size_t index, std::uint64_t decodedFrames) {
    packets_[index].decoded =
        static_cast<std::uint32_t>(std::min<std::uint64_t>(decodedFrames, kMaxPacketFrames));
}

void SoundTrack::place() {
    std::uint64_t start = 0;
    std::uint32_t drop = 0;
    for (Packet& packet : packets_) {
        // What is to be dropped can be more than one packet holds.
        if (packet.dropFront > 0)
            drop = packet.dropFront;
        packet.skip = std::min(drop, packet.decoded);
        drop -= packet.skip;
        packet.frames = packet.decoded - packet.skip;
        packet.frames -= std::min(packet.dropBack, packet.frames);
        if (packet.hidden)
            packet.frames = 0;
        packet.start = start;
        start += packet.frames;
    }
}

std::uint64_t SoundTrack::frames() const {
    return packets_.empty() ? 0 : packets_.back().start + packets_.back().frames;
}

std::size_t SoundTrack::packetAt(std::uint64_t frame) const {
    const auto behind = std::upper_bound(
        packets_.begin(), packets_.end(), frame,
        [](std::uint64_t value, const Packet& packet) { return value < packet.start; });
    return static_cast<std::size_t>(behind - packets_.begin()) - 1;
}

} // namespace sound
