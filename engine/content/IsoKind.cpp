#include "engine/content/ContentText.h"
#include "engine/content/kinds.h"

namespace kova {

namespace {

using namespace std::string_view_literals;

constexpr ContentType kTypes[] = {{L"ISO image", L"iso", ContentGroup::Archives}};

/// Volume descriptors of a sector each lie behind the first 16 sectors: type, "CD001", version 1.
/// The primary one: label at 40 (32 bytes), sectors of the volume at 80 (4), bytes of one at 128
/// (2), time of its making at 813 (16 digits).
constexpr uint64 kSector = 2048;
constexpr uint64 kDescriptors = 16 * kSector;
constexpr auto kPrimary = "\1CD001\1"sv;
constexpr auto kIdentifier = "CD001\1"sv;
constexpr uint8 kLastDescriptor = 255;
constexpr uint64 kMostDescriptors = 100;
constexpr uint64 kLabelAt = 40;
constexpr uint64 kLabelBytes = 32;
constexpr uint64 kSectorsAt = 80;
constexpr uint64 kSectorBytesAt = 128;
constexpr uint64 kMadeAt = 813;
constexpr uint64 kMadeBytes = 16;

constexpr Mark kMarks[] = {{0, "\1"sv}, {kDescriptors, "\1"sv}};

class IsoKind : public ContentKind {
public:
    std::span<const ContentType> types() const override { return kTypes; }

    std::string_view firstBytes() const override { return {}; }

    std::span<const Mark> marks() const override { return kMarks; }

    std::size_t bytesNeeded() const override { return kDescriptors + kPrimary.size(); }

    uint64 landmark(std::span<const uint8> first) const override {
        return startsWith(first, kPrimary) ? kDescriptors : 0;
    }

    Certainty begins(std::span<const uint8> first) const override {
        const bool there = startsWith(first, kPrimary) || liesAt(first, kDescriptors, kPrimary);
        return there ? Certainty::Structure : Certainty::No;
    }

protected:
    void follow(ContentReader& reader, MeasuredContent& found) const override {
        if (!reader.matches(kDescriptors, kPrimary))
            return;
        for (uint64 i = 0;; ++i) {
            const uint64 at = kDescriptors + i * kSector;
            if (i == kMostDescriptors || !reader.matches(at + 1, kIdentifier))
                return found.breaks(at, at);
            if (reader.byte(at) == kLastDescriptor)
                break;
        }
        found.title = text::fromLatin1(reader.bytes(kDescriptors + kLabelAt, kLabelBytes));
        found.date = text::timeFromDigits(reader.text(kDescriptors + kMadeAt, kMadeBytes));
        found.endsAt(uint64{reader.le<uint32>(kDescriptors + kSectorsAt)} *
                     reader.le<uint16>(kDescriptors + kSectorBytesAt));
    }
};

} // namespace

const ContentKind& isoKind() {
    static const IsoKind kind;
    return kind;
}

} // namespace kova
