#include "engine/content/kinds.h"

#include <algorithm>

namespace kova {

namespace {

using namespace std::string_view_literals;

constexpr ContentType kTypes[] = {{L"ELF", L"elf", ContentGroup::Programs},
                                  {L"ELF", L"so", ContentGroup::Programs}};

constexpr auto kMagic = "\x7F"
                        "ELF"sv;
/// Class at 4 (1: 32 bits, 2: 64), byte order at 5 (1 little, 2 big), version at 6, type at 16.
constexpr std::size_t kClassAt = 4;
constexpr std::size_t kOrderAt = 5;
constexpr std::size_t kVersionAt = 6;
constexpr std::size_t kTypeAt = 16;
constexpr uint64 kShared = 3;
constexpr uint64 kNoBits = 8;      ///< The type of sections that take no room in the file.
constexpr uint64 kInterpreter = 3; ///< The type of the segment that programs have.

/// Where numbers lie, which depends on the class.
struct ElfLayout {
    uint64 width;      ///< Bytes of an offset or a length.
    uint64 segmentsAt; ///< In the header: offset of the segments' table; the sections' follows.
    uint64 countsAt;   ///< In the header: bytes and count of segments, then of sections, 2 each.
    uint64 segmentOffset;
    uint64 segmentBytes;
    uint64 sectionOffset;
    uint64 sectionBytes;
};

constexpr ElfLayout kLayout32 = {4, 28, 42, 4, 16, 16, 20};
constexpr ElfLayout kLayout64 = {8, 32, 54, 8, 32, 24, 32};

/// Reads numbers in the file's byte order.
class ElfReader {
public:
    explicit ElfReader(ContentReader& reader)
        : reader_(reader), big_(reader.byte(kOrderAt) == 2),
          layout_(reader.byte(kClassAt) == 2 ? kLayout64 : kLayout32) {}

    [[nodiscard]] const ElfLayout& layout() const { return layout_; }

    uint64 half(uint64 at) { return number<uint16>(at); }

    uint64 word(uint64 at) { return number<uint32>(at); }

    uint64 offset(uint64 at) { return layout_.width == 8 ? number<uint64>(at) : word(at); }

private:
    template <typename T>
    uint64 number(uint64 at) {
        return big_ ? reader_.be<T>(at) : reader_.le<T>(at);
    }

    ContentReader& reader_;
    bool big_;
    const ElfLayout& layout_;
};

class ElfKind : public ContentKind {
public:
    std::span<const ContentType> types() const override { return kTypes; }

    std::string_view firstBytes() const override { return "\x7F"; }

    Certainty begins(std::span<const uint8> first) const override {
        if (!startsWith(first, kMagic) || first.size() <= kVersionAt)
            return Certainty::No;
        const bool fits = first[kClassAt] - 1U < 2 && first[kOrderAt] - 1U < 2;
        return fits && first[kVersionAt] == 1 ? Certainty::Structure : Certainty::No;
    }

protected:
    void follow(ContentReader& reader, MeasuredContent& found) const override {
        ElfReader elf(reader);
        const ElfLayout& layout = elf.layout();
        bool program = false;
        uint64 end = layout.countsAt + 10; // All of the header.
        const auto reach = [&](uint64 offset, uint64 bytes) {
            if (!reader.has(offset, bytes))
                fail();
            end = std::max(end, offset + bytes);
        };
        uint64 at = elf.offset(layout.segmentsAt);
        const uint64 segment = elf.half(layout.countsAt);
        const uint64 segments = elf.half(layout.countsAt + 2);
        reach(at, segments * segment);
        for (uint64 i = 0; i < segments; ++i, at += segment) {
            program |= elf.word(at) == kInterpreter;
            reach(elf.offset(at + layout.segmentOffset), elf.offset(at + layout.segmentBytes));
        }
        at = elf.offset(layout.segmentsAt + layout.width);
        const uint64 section = elf.half(layout.countsAt + 4);
        const uint64 sections = elf.half(layout.countsAt + 6);
        reach(at, sections * section);
        for (uint64 i = 0; i < sections; ++i, at += section) {
            if (elf.word(at + 4) != kNoBits)
                reach(elf.offset(at + layout.sectionOffset), elf.offset(at + layout.sectionBytes));
        }
        if (elf.half(kTypeAt) == kShared && !program)
            found.type = &kTypes[1];
        found.endsAt(end);
    }
};

} // namespace

const ContentKind& elfKind() {
    static const ElfKind kind;
    return kind;
}

} // namespace kova
