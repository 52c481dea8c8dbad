#include "engine/content/ContentText.h"
#include "engine/content/TiffDirectory.h"
#include "engine/content/kinds.h"

#include <algorithm>
#include <set>

namespace kova {

namespace {

using namespace std::string_view_literals;

constexpr ContentType kTypes[] = {
    {L"TIFF", L"tif", ContentGroup::Pictures}, {L"CR2", L"cr2", ContentGroup::Pictures},
    {L"NEF", L"nef", ContentGroup::Pictures},  {L"ARW", L"arw", ContentGroup::Pictures},
    {L"DNG", L"dng", ContentGroup::Pictures},  {L"ORF", L"orf", ContentGroup::Pictures},
    {L"RW2", L"rw2", ContentGroup::Pictures}};

enum Type { Tiff, Cr2, Nef, Arw, Dng, Orf, Rw2 };

constexpr std::string_view kMagics[] = {"II*\0"sv, "MM\0*"sv, "IIRO"sv,
                                        "IIRS"sv,  "MMOR"sv,  "IIU\0"sv};
/// BigTIFF: the width of offsets and a zero (2 bytes each) before that of the first directory.
constexpr std::string_view kBigMagics[] = {"II+\0\x08\0\0\0"sv, "MM\0+\0\x08\0\0"sv};

/// Tags.
constexpr uint16 kMaker = 0x010F;
constexpr uint16 kDngVersion = 0xC612;
constexpr uint16 kDate = 0x0132;
/// Where data lies, and how much: strips, tiles, free blocks, the old way of keeping a JPEG.
constexpr std::pair<uint16, uint16> kData[] = {
    {0x0111, 0x0117}, {0x0144, 0x0145}, {0x0120, 0x0121}, {0x0201, 0x0202}};
/// Directories that are named by a tag: more pictures, EXIF, GPS, interoperability.
constexpr uint16 kDirectories[] = {0x014A, 0x8769, 0x8825, 0xA005};

/// Follows the directories of one file.
class Walk {
public:
    explicit Walk(ContentReader& reader) : tiff_(reader, 0) {}

    /// False when something is no directory.
    bool run() {
        open_.push_back(tiff_.first());
        while (!open_.empty()) {
            const uint64 at = open_.back();
            open_.pop_back();
            // Each is taken once, and no file has more of them.
            constexpr std::size_t kMostDirectories = 1024;
            if (at == 0 || !seen_.insert(at).second)
                continue;
            if (seen_.size() > kMostDirectories || !take(at))
                return false;
        }
        return true;
    }

    [[nodiscard]] uint64 end() const { return end_; }

    [[nodiscard]] const std::string& maker() const { return maker_; }

    [[nodiscard]] bool isDng() const { return isDng_; }

    [[nodiscard]] int64 date() const { return date_; }

private:
    using Entry = TiffStructure::Entry;

    bool take(uint64 at) {
        const auto directory = tiff_.directory(at);
        if (!directory)
            return false;
        reach(directory->end);
        for (const Entry& entry : directory->entries) {
            if (!entry.isInside)
                reach(entry.at + entry.bytes());
            if (std::find(std::begin(kDirectories), std::end(kDirectories), entry.tag) !=
                std::end(kDirectories))
                openAll(entry);
        }
        for (const auto& [offsets, lengths] : kData)
            reachData(directory->find(offsets), directory->find(lengths));
        if (const Entry* maker = directory->find(kMaker); maker != nullptr && maker_.empty())
            maker_ = tiff_.text(*maker);
        if (const Entry* date = directory->find(kDate); date != nullptr && date_ == 0)
            date_ = text::timeFromDigits(tiff_.text(*date));
        isDng_ = isDng_ || directory->find(kDngVersion) != nullptr;
        open_.push_back(directory->next);
        return true;
    }

    void openAll(const Entry& entry) {
        constexpr uint32 kMostInside = 64;
        for (uint32 i = 0; i < std::min(entry.count, kMostInside); ++i)
            open_.push_back(tiff_.value(entry, i));
    }

    void reachData(const Entry* offsets, const Entry* lengths) {
        if (offsets == nullptr || lengths == nullptr)
            return;
        // Bounded by the values themselves, which lie in the file.
        const uint32 count = std::min(offsets->count, lengths->count);
        for (uint32 i = 0; i < count; ++i)
            reach(tiff_.value(*offsets, i) + tiff_.value(*lengths, i));
    }

    void reach(uint64 end) { end_ = std::max(end_, end); }

    TiffStructure tiff_;
    std::vector<uint64> open_;
    std::set<uint64> seen_;
    uint64 end_ = 0;
    std::string maker_;
    bool isDng_ = false;
    int64 date_ = 0;
};

class TiffKind : public ContentKind {
public:
    std::span<const ContentType> types() const override { return kTypes; }

    std::string_view firstBytes() const override { return "IM"; }

    Certainty begins(std::span<const uint8> first) const override {
        constexpr uint32 kFarthest = uint32{1} << 31;
        if (first.size() < 8)
            return Certainty::No;
        for (const auto magic : kBigMagics) {
            if (startsWith(first, magic))
                return Certainty::Structure;
        }
        for (const auto magic : kMagics) {
            if (!startsWith(first, magic))
                continue;
            const uint32 at = first[0] == 'I' ? readLe<uint32>(first, 4) : readBe<uint32>(first, 4);
            return at >= 8 && at < kFarthest ? Certainty::Magic : Certainty::No;
        }
        return Certainty::No;
    }

protected:
    void follow(ContentReader& reader, MeasuredContent& found) const override {
        Walk walk(reader);
        const bool isSound = walk.run();
        found.date = walk.date();
        found.type = &kTypes[typeOf(reader, walk)];
        if (!isSound)
            return found.breaks(std::min(walk.end(), reader.size()), walk.end());
        found.endsAt(walk.end());
    }

private:
    static Type typeOf(ContentReader& reader, const Walk& walk) {
        if (reader.matches(8, "CR\2"))
            return Cr2;
        if (reader.matches(2, "RO") || reader.matches(2, "RS") || reader.matches(2, "OR"))
            return Orf;
        if (reader.matches(2, "U\0"sv))
            return Rw2;
        if (walk.isDng())
            return Dng;
        if (walk.maker().starts_with("NIKON"))
            return Nef;
        return walk.maker().starts_with("SONY") ? Arw : Tiff;
    }
};

} // namespace

const ContentKind& tiffKind() {
    static const TiffKind kind;
    return kind;
}

} // namespace kova
