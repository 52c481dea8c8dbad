#include "decoder/av/openContainer.h"

extern "C" {
#include <libavutil/mem.h>
}

namespace av {

namespace {

/// What a container that refers to other files is answered.
int refuseOtherFiles(AVFormatContext* /*context*/, AVIOContext** /*file*/, const char* /*url*/,
                     int /*flags*/, AVDictionary** /*options*/) {
    return AVERROR(EACCES);
}

} // namespace

AvHandle<AVFormatContext> openContainer(const MemoryInput& input, const char* containers,
                                        const char* decoders, AVMediaType kind) {
    AVFormatContext* context = avformat_alloc_context();
    if (context == nullptr || input.context() == nullptr)
        return AvHandle<AVFormatContext>(context);
    context->pb = input.context();
    context->flags |= AVFMT_FLAG_CUSTOM_IO;
    context->io_open = &refuseOtherFiles;
    context->format_whitelist = av_strdup(containers);
    context->codec_whitelist = av_strdup(decoders);
    // Frees the context when it fails.
    if (avformat_open_input(&context, "", nullptr, nullptr) < 0)
        return nullptr;
    AvHandle<AVFormatContext> opened(context);
    for (unsigned i = 0; i < opened->nb_streams; ++i)
        if (opened->streams[i]->codecpar->codec_type != kind)
            opened->streams[i]->discard = AVDISCARD_ALL;
    if (avformat_find_stream_info(opened.get(), nullptr) < 0)
        return nullptr;
    return opened;
}

} // namespace av
