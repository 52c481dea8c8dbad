#include "engine/search/copyPlace.h"

#include "engine/ByteReader.h"

#include <algorithm>

namespace kova {

namespace {

constexpr uint64 kRequestBytes = uint64{1024} * 1024;

} // namespace

void copyPlace(ZCustomMedia& media, const std::vector<ByteRange>& place, ZStream& out) {
    ByteReader reader(media);
    std::vector<uint8> bytes;
    for (const ByteRange& range : place) {
        for (uint64 done = 0; done < range.length; done += bytes.size()) {
            bytes.resize(static_cast<std::size_t>(std::min(range.length - done, kRequestBytes)));
            reader.read(range.start + done, bytes);
            out.write(bytes.data(), static_cast<uint32>(bytes.size()));
        }
    }
}

} // namespace kova
