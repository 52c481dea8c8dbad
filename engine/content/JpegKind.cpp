#include "engine/content/ExifDate.h"
#include "engine/content/JpegScan.h"
#include "engine/content/JpegTrailer.h"
#include "engine/content/TiffDirectory.h"
#include "engine/content/kinds.h"

#include <algorithm>
#include <optional>

namespace kova {

namespace {

using namespace std::string_view_literals;

constexpr ContentType kTypes[] = {{L"JPEG", L"jpg", ContentGroup::Pictures}};

constexpr auto kMagic = "\xFF\xD8\xFF"sv;
constexpr uint8 kTables = 0xC4;
constexpr uint8 kEnd = 0xD9;
constexpr uint8 kScan = 0xDA;
constexpr uint8 kRestartInterval = 0xDD;
constexpr uint8 kExif = 0xE1;
constexpr uint8 kMultiPicture = 0xE2;

/// Whether a marker is one that a length and data follow.
bool isSegment(uint8 marker) {
    return marker >= 0xC0 && marker != 0xFF && (marker < 0xD0 || marker > 0xD9);
}

/// Whether a marker begins a frame, which tells how the picture is coded.
bool isFrame(uint8 marker) {
    return marker >= 0xC0 && marker <= 0xCF && marker != kTables && marker != 0xC8 &&
           marker != 0xCC;
}

/// Where the last of the pictures that follow in the same file ends, by the list of them (one
/// entry: 4 bytes of flags, size, offset from the list, and 4 more); 0 when there are none.
uint64 picturesEnd(ContentReader& reader, uint64 list) {
    constexpr uint16 kEntries = 0xB002;
    constexpr uint64 kEntryBytes = 16;
    constexpr uint64 kMostPictures = 64;
    TiffStructure tiff(reader, list);
    const auto directory = tiff.directory(tiff.first());
    const auto* entries = directory ? directory->find(kEntries) : nullptr;
    if (entries == nullptr)
        return 0;
    uint64 end = 0;
    for (uint64 i = 0; i < std::min(kMostPictures, entries->bytes() / kEntryBytes); ++i) {
        const uint64 at = list + entries->at + i * kEntryBytes;
        const bool isBigEndian = reader.byte(list) == 'M';
        const uint32 size = isBigEndian ? reader.be<uint32>(at + 4) : reader.le<uint32>(at + 4);
        const uint32 offset = isBigEndian ? reader.be<uint32>(at + 8) : reader.le<uint32>(at + 8);
        if (offset != 0 && reader.matches(list + offset, kMagic))
            end = std::max(end, list + offset + size);
    }
    return end;
}

class JpegKind : public ContentKind {
public:
    std::span<const ContentType> types() const override { return kTypes; }

    std::string_view firstBytes() const override { return "\xFF"; }

    Certainty begins(std::span<const uint8> first) const override {
        if (!startsWith(first, kMagic) || first.size() < 4)
            return Certainty::No;
        std::size_t at = 2;
        int segments = 0;
        while (at + 4 <= first.size()) {
            if (first[at] != 0xFF || !isSegment(first[at + 1]) || readBe<uint16>(first, at + 2) < 2)
                return Certainty::No;
            ++segments;
            if (first[at + 1] == kScan)
                break;
            at += 2 + std::size_t{readBe<uint16>(first, at + 2)};
        }
        return segments > 1 ? Certainty::Structure : Certainty::Magic;
    }

    Fit mayContinue(std::span<const uint8> block, uint64) const override {
        // Coded data holds no 0xFF but before a zero or a restart marker; headers are not far from
        // a file's beginning, and hardly ever where it goes on.
        std::size_t wrong = 0;
        for (std::size_t i = 0; i + 1 < block.size(); ++i) {
            if (block[i] != 0xFF)
                continue;
            const uint8 next = block[i + 1];
            if (next == kEnd)
                return Fit::CannotTell;
            wrong += next == 0 || (next >= 0xD0 && next <= 0xD7) || next == 0xFF ? 0U : 1U;
        }
        return wrong > 2 ? Fit::No : Fit::CannotTell;
    }

protected:
    void follow(ContentReader& reader, MeasuredContent& found) const override {
        found.verified = true;
        uint64 at = 0;
        // Another may follow that no list tells of; one that begins a sector is another file.
        do {
            const auto end = pictureEnd(reader, at, found);
            if (!end)
                return;
            at = *end;
        } while (at % kSector != 0 && reader.matches(at, kMagic));
        found.endsAt(at);
    }

private:
    /// A wrong code may show only some way behind the first wrong byte.
    static constexpr uint64 kLateness = 4096;
    /// Bytes that a code which does not fit may reach beyond the place at which that is told.
    static constexpr uint64 kHeldBytes = 16;
    static constexpr uint64 kSector = 512;

    /// Behind the picture at `at` and what is appended to it; nothing, and said in `found`, where
    /// it breaks.
    static std::optional<uint64> pictureEnd(ContentReader& reader, uint64 at,
                                            MeasuredContent& found) {
        JpegScan scan;
        bool hasScan = false;
        Appended appended;
        const auto breaks = [&found](uint64 sound, uint64 wrongAt) {
            found.breaks(sound, wrongAt);
            return std::nullopt;
        };
        for (at += 2;;) {
            if (reader.byte(at) != 0xFF)
                return breaks(at, at);
            const uint8 marker = reader.byte(at + 1);
            if (marker == 0xFF) {
                ++at;
                continue;
            }
            if (marker == kEnd && hasScan) {
                const uint64 end = std::max(at + 2, appended.picturesEnd);
                const auto behind = afterJpegTrailers(reader, end, appended.hasFilm);
                return behind ? behind : breaks(end, reader.size());
            }
            if (!isSegment(marker))
                return breaks(at, at);
            const uint64 length = reader.be<uint16>(at + 2);
            if (length < 2)
                return breaks(at, at);
            const uint64 data = at + 4;
            const uint64 next = at + 2 + length;
            if (!take(reader, scan, marker, data, length - 2, found, appended))
                return breaks(at, next);
            if (marker != kScan) {
                at = next;
                continue;
            }
            hasScan = true;
            const JpegScan::End coded = scan.follow(reader, data, next);
            if (!coded.isSound)
                return breaks(std::max(next, coded.at - std::min(coded.at, kLateness)),
                              coded.at + kHeldBytes);
            found.verified = found.verified && coded.isDecoded;
            at = coded.at;
        }
    }

    /// What the picture's segments say of things behind it.
    struct Appended {
        uint64 picturesEnd = 0; ///< 0 for none.
        bool hasFilm = false;
    };

    /// Whether properties in XML are those of a moving photo.
    static bool saysFilm(ContentReader& reader, uint64 data, uint64 length) {
        return reader.find("MotionPhoto"sv, data, data + length) ||
               reader.find("MicroVideo"sv, data, data + length);
    }

    static bool take(ContentReader& reader, JpegScan& scan, uint8 marker, uint64 data,
                     uint64 length, MeasuredContent& found, Appended& appended) {
        if (isFrame(marker))
            return scan.takeFrame(reader, marker, data, length);
        if (marker == kTables)
            return scan.takeTables(reader, data, length);
        if (marker == kRestartInterval)
            scan.takeRestart(reader, data);
        else if (marker == kExif && found.date == 0 && reader.matches(data, "Exif\0\0"sv))
            found.date = exifDate(reader, data + 6);
        else if (marker == kExif && !appended.hasFilm)
            appended.hasFilm = saysFilm(reader, data, length);
        else if (marker == kMultiPicture && reader.matches(data, "MPF\0"sv))
            appended.picturesEnd = picturesEnd(reader, data + 4);
        return true;
    }
};

} // namespace

const ContentKind& jpegKind() {
    static const JpegKind kind;
    return kind;
}

} // namespace kova
