#include "engine/content/Inflater.h"

#include <algorithm>
#include <array>

namespace kova {

Inflater::Outcome Inflater::run(ContentReader& reader, uint64 at, uint64 limit, Wrapper wrapper,
                                const Sink& sink) {
    InflateStream stream(wrapper);
    std::array<uint8, std::size_t{32} << 10> output; // NOLINT: zlib fills it before it is read
    Outcome outcome;
    limit = std::min(limit, reader.size());
    outcome.end = at;
    while (outcome.end < limit && outcome.produced < kMost) {
        const auto input = reader.some(outcome.end, limit - outcome.end);
        if (input.empty())
            break;
        stream->next_in = const_cast<uint8*>(input.data()); // NOLINT: zlib does not write to it
        stream->avail_in = static_cast<uInt>(input.size());
        int status = Z_OK;
        do {
            stream->next_out = output.data();
            stream->avail_out = static_cast<uInt>(output.size());
            status = stream.inflate();
            const auto made = std::span(output).first(output.size() - stream->avail_out);
            outcome.produced += made.size();
            outcome.crc = static_cast<uint32>(
                ::crc32(outcome.crc, made.data(), static_cast<uInt>(made.size())));
            if (sink && !made.empty())
                sink(made);
        } while (status == Z_OK && stream->avail_out == 0 && outcome.produced < kMost);
        outcome.end += input.size() - stream->avail_in;
        if (status == Z_STREAM_END) {
            outcome.whole = true;
            break;
        }
        if (status != Z_OK && status != Z_BUF_ERROR)
            break;
    }
    return outcome;
}

} // namespace kova
