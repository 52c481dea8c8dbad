#pragma once

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/frame.h>
#include <libswresample/swresample.h>
}

#include <memory>

namespace av {

/// Releases what FFmpeg's libraries hand out.
struct AvDeleter {
    void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }

    void operator()(AVCodecParameters* parameters) const { avcodec_parameters_free(&parameters); }

    void operator()(AVFormatContext* context) const { avformat_close_input(&context); }

    void operator()(AVFrame* frame) const { av_frame_free(&frame); }

    void operator()(AVPacket* packet) const { av_packet_free(&packet); }

    void operator()(SwrContext* converter) const { swr_free(&converter); }
};

template <class T>
using AvHandle = std::unique_ptr<T, AvDeleter>;

} // namespace av
