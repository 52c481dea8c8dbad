#include "engine/search/copyPlace.h"

#include <algorithm>

namespace kova {

namespace {

constexpr uint64 kRequestBytes = uint64{1024} * 1024;

} // namespace

void copyPlace(ZCustomMedia& media, const std::vector<ByteRange>& place, ZStream& out) {
    const uint32 sectorBytes = media.sectorSize();
    std::vector<uint8> buffer;
    for (const ByteRange& range : place) {
        for (uint64 done = 0; done < range.length;) {
            const uint64 position = range.start + done;
            const auto skipped = static_cast<uint32>(position % sectorBytes);
            const auto bytes =
                static_cast<uint32>(std::min(range.length - done, kRequestBytes - skipped));
            const uint32 sectors = (skipped + bytes + sectorBytes - 1) / sectorBytes;
            buffer.resize(static_cast<std::size_t>(sectors) * sectorBytes);
            media.seek(position / sectorBytes);
            media.read(buffer.data(), sectors);
            out.write(buffer.data() + skipped, bytes);
            done += bytes;
        }
    }
}

} // namespace kova
