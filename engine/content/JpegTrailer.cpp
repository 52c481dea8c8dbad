#include "engine/content/JpegTrailer.h"

#include "engine/content/PartSource.h"
#include "engine/content/kinds.h"

#include <algorithm>

namespace kova {

namespace {

constexpr uint64 kSector = 512;

/// Blocks of Samsung's phones: zeros (2 bytes), type (2), length of a name (4), name, data. They
/// are followed by their directory, the directory's length (4) and a mark.
constexpr uint64 kBlockHeader = 8;
constexpr uint32 kMostName = 64;
constexpr std::string_view kDirectory = "SEFH";
constexpr std::string_view kDirectoryEnd = "SEFT";
/// The directory: its name, version (4), count at 8 (4), entries from 12 on of zeros (2), type
/// (2), distance back from the directory to the block (4), the block's length (4).
constexpr uint64 kCountAt = 8;
constexpr uint64 kFirstEntry = 12;
constexpr uint64 kEntryBytes = 12;
constexpr uint64 kDistanceAt = 4;
constexpr uint32 kMostBlocks = 256;
/// A film of some seconds is not longer.
constexpr uint64 kMostBlockBytes = uint64{128} << 20;

bool beginsBlock(ContentReader& reader, uint64 at) {
    if (!reader.has(at, kBlockHeader) || reader.le<uint16>(at) != 0 ||
        reader.le<uint16>(at + 2) == 0)
        return false;
    const auto length = reader.le<uint32>(at + 4);
    if (length == 0 || length > kMostName || !reader.has(at + kBlockHeader, length))
        return false;
    const std::string name = reader.text(at + kBlockHeader, length);
    return std::ranges::all_of(name, [](char c) { return c > ' ' && c < 0x7F; });
}

/// Behind the blocks that begin at `at`, by their directory.
std::optional<uint64> blocksEnd(ContentReader& reader, uint64 at) {
    const uint64 last = at + kMostBlockBytes;
    for (uint64 from = at;;) {
        const auto directory = reader.find(kDirectory, from, std::min(reader.size(), last));
        if (!directory)
            return std::nullopt;
        from = *directory + 1;
        const auto count = reader.le<uint32>(*directory + kCountAt);
        if (count == 0 || count > kMostBlocks)
            continue;
        const uint64 bytes = kFirstEntry + count * kEntryBytes;
        uint64 furthest = 0;
        for (uint32 i = 0; i < count; ++i)
            furthest = std::max<uint64>(furthest, reader.le<uint32>(*directory + kFirstEntry +
                                                                    i * kEntryBytes + kDistanceAt));
        const uint64 end = *directory + bytes;
        if (furthest == *directory - at && reader.le<uint32>(end) == bytes &&
            reader.matches(end + 4, kDirectoryEnd))
            return end + 4 + kDirectoryEnd.size();
    }
}

/// Behind the film at `at`.
std::optional<uint64> filmEnd(ContentReader& reader, uint64 at) {
    PartSource source(reader, at);
    const MeasuredContent film = isoMediaKind().measure(source);
    return film.state == ContentState::Whole ? std::optional(at + film.length) : std::nullopt;
}

} // namespace

std::optional<uint64> afterJpegTrailers(ContentReader& reader, uint64 at, bool isMoving) {
    std::optional<uint64> end = at;
    if (reader.matches(at + 4, "ftyp") && (isMoving || at % kSector != 0))
        end = filmEnd(reader, at);
    if (end && beginsBlock(reader, *end))
        end = blocksEnd(reader, *end);
    return end;
}

} // namespace kova
