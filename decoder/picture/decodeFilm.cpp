#include "decoder/picture/decodeFilm.h"

#include "decoder/av/openContainer.h"

extern "C" {
#include <libavutil/log.h>
#include <libswscale/swscale.h>
}

#include <algorithm>
#include <cstddef>
#include <memory>
#include <vector>

namespace picture {

namespace {

constexpr const char* kContainers = "mov,matroska,avi,mpeg,mpegvideo,mpegts,flv,asf";
constexpr const char* kDecoders =
    "h264,hevc,libdav1d,av1,vp8,vp9,mpeg4,mpeg1video,mpeg2video,h263,flv,msmpeg4v1,msmpeg4v2,"
    "msmpeg4,wmv1,wmv2,wmv3,vc1,mjpeg,theora,prores,dvvideo,rawvideo";

constexpr std::int64_t kMostPixels = std::int64_t{36} << 20; // somewhat more than 8K
/// Packets until the first picture is complete; those of sound count as well.
constexpr int kMostPackets = 2000;
constexpr int kThreads = 2;
constexpr int kVectorBytes = 64;

struct FreeScaler {
    void operator()(SwsContext* scaler) const { sws_freeContext(scaler); }
};

av::AvHandle<AVCodecContext> makeDecoder(const AVCodecParameters& parameters,
                                         const AVCodec* codec) {
    av::AvHandle<AVCodecContext> decoder(avcodec_alloc_context3(codec));
    if (decoder == nullptr || avcodec_parameters_to_context(decoder.get(), &parameters) < 0)
        return nullptr;
    decoder->max_pixels = kMostPixels;
    decoder->thread_count = kThreads;
    decoder->thread_type = FF_THREAD_SLICE;
    decoder->codec_whitelist = av_strdup(kDecoders);
    if (avcodec_open2(decoder.get(), codec, nullptr) < 0)
        return nullptr;
    return decoder;
}

/// Whether `frame` holds the first picture.
bool decodeFirst(AVFormatContext& film, int stream, AVCodecContext& decoder, AVFrame& frame) {
    const av::AvHandle<AVPacket> packet(av_packet_alloc());
    if (packet == nullptr)
        return false;
    for (int read = 0; read < kMostPackets; ++read) {
        // At the end the decoder gives what it holds back.
        const bool isOver = av_read_frame(&film, packet.get()) < 0;
        if (isOver || packet->stream_index == stream)
            avcodec_send_packet(&decoder, isOver ? nullptr : packet.get());
        av_packet_unref(packet.get());
        if (avcodec_receive_frame(&decoder, &frame) == 0)
            return true;
        if (isOver)
            return false;
    }
    return false;
}

Bitmap toBitmap(const AVFrame& frame) {
    const std::unique_ptr<SwsContext, FreeScaler> scaler(sws_getContext(
        frame.width, frame.height, static_cast<AVPixelFormat>(frame.format), frame.width,
        frame.height, AV_PIX_FMT_BGRA, SWS_BILINEAR, nullptr, nullptr, nullptr));
    Bitmap bitmap(nullptr, FreeImage_Unload);
    if (scaler != nullptr)
        bitmap.reset(FreeImage_Allocate(frame.width, frame.height, 8 * int{kPixelBytes}));
    if (bitmap == nullptr)
        return bitmap;
    // The library writes whole vectors, beyond what a row holds.
    const int rowBytes = frame.width * int{kPixelBytes};
    const int stride = (rowBytes + kVectorBytes) / kVectorBytes * kVectorBytes;
    std::vector<std::uint8_t> rows(static_cast<std::size_t>(stride) *
                                   (static_cast<std::size_t>(frame.height) + 1));
    std::uint8_t* const to = rows.data();
    if (sws_scale(scaler.get(), frame.data, frame.linesize, 0, frame.height, &to, &stride) <= 0)
        bitmap.reset();
    for (int y = 0; bitmap != nullptr && y < frame.height; ++y)
        std::copy_n(to + std::ptrdiff_t{y} * stride, rowBytes,
                    FreeImage_GetScanLine(bitmap.get(), frame.height - 1 - y));
    return bitmap;
}

} // namespace

Bitmap decodeFilm(std::span<const std::uint8_t> file, Outcome& outcome) {
    av_log_set_level(AV_LOG_QUIET);
    outcome = Outcome::Unavailable;
    Bitmap none(nullptr, FreeImage_Unload);
    const av::MemoryInput input(file);
    const auto film = av::openContainer(input, kContainers, kDecoders, AVMEDIA_TYPE_VIDEO);
    const AVCodec* codec = nullptr;
    const int stream = film == nullptr
                           ? -1
                           : av_find_best_stream(film.get(), AVMEDIA_TYPE_VIDEO, -1, -1, &codec, 0);
    if (stream < 0)
        return none;
    const AVCodecParameters& parameters = *film->streams[stream]->codecpar;
    if (std::int64_t{parameters.width} * parameters.height > kMostPixels)
        return none;
    const auto decoder = makeDecoder(parameters, codec);
    const av::AvHandle<AVFrame> frame(av_frame_alloc());
    if (decoder == nullptr || frame == nullptr)
        return none;
    if (!decodeFirst(*film, stream, *decoder, *frame)) {
        outcome = Outcome::Corrupted;
        return none;
    }
    return toBitmap(*frame);
}

} // namespace picture
