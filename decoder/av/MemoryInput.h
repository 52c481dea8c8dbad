#pragma once

extern "C" {
#include <libavformat/avformat.h>
#include <libavutil/mem.h>
}

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

namespace av {

/// Lets FFmpeg read a file that is in memory.
class MemoryInput {
public:
    explicit MemoryInput(std::span<const std::uint8_t> bytes)
        : bytes_(bytes),
          context_(avio_alloc_context(static_cast<unsigned char*>(av_malloc(kBufferBytes)),
                                      kBufferBytes, 0, this, &read, nullptr, &seek)) {}

    MemoryInput(const MemoryInput&) = delete;
    MemoryInput& operator=(const MemoryInput&) = delete;

    ~MemoryInput() {
        if (context_ != nullptr)
            av_freep(static_cast<void*>(&context_->buffer));
        avio_context_free(&context_);
    }

    [[nodiscard]] AVIOContext* context() const { return context_; }

private:
    static constexpr int kBufferBytes = 1 << 15;

    static int read(void* self, std::uint8_t* buffer, int size) {
        auto& input = *static_cast<MemoryInput*>(self);
        const std::size_t count =
            std::min(input.bytes_.size() - input.at_, static_cast<std::size_t>(std::max(size, 0)));
        if (count == 0)
            return AVERROR_EOF;
        std::memcpy(buffer, input.bytes_.data() + input.at_, count);
        input.at_ += count;
        return static_cast<int>(count);
    }

    static std::int64_t seek(void* self, std::int64_t offset, int whence) {
        auto& input = *static_cast<MemoryInput*>(self);
        const auto size = static_cast<std::int64_t>(input.bytes_.size());
        whence &= ~AVSEEK_FORCE;
        if (whence == AVSEEK_SIZE)
            return size;
        std::int64_t base = 0;
        if (whence == SEEK_CUR)
            base = static_cast<std::int64_t>(input.at_);
        else if (whence == SEEK_END)
            base = size;
        else if (whence != SEEK_SET)
            return AVERROR(EINVAL);
        if (offset < -base || offset > size - base)
            return AVERROR(EINVAL);
        input.at_ = static_cast<std::size_t>(base + offset);
        return base + offset;
    }

    std::span<const std::uint8_t> bytes_;
    std::size_t at_ = 0;
    AVIOContext* context_;
};

} // namespace av
