#include "engine/content/kinds.h"

#include <algorithm>
#include <optional>
#include <string_view>

namespace kova {

namespace {

using namespace std::string_view_literals;

constexpr ContentType kTypes[] = {{L"tar", L"tar", ContentGroup::Archives}};

/// A header fills a block: name, at 124 the length of the file (12 bytes, octal, or binary when
/// the first is 0x80), at 148 the sum of all bytes (8 bytes, octal; itself counted as spaces).
constexpr std::size_t kBlock = 512;
constexpr std::size_t kLengthAt = 124;
constexpr std::size_t kLengthBytes = 12;
constexpr std::size_t kSumAt = 148;
constexpr std::size_t kSumBytes = 8;
/// Two blocks of zeros end the archive, which nearly all writers fill up to whole records.
constexpr uint64 kRecord = 20 * kBlock;

std::optional<uint64> octal(std::span<const uint8> field) {
    uint64 value = 0;
    bool any = false;
    for (const uint8 c : field) {
        if (c >= '0' && c <= '7') {
            value = (value << 3) | static_cast<uint64>(c - '0');
            any = true;
        } else if (c != ' ' && c != 0) {
            return std::nullopt;
        } else if (any) {
            break;
        }
    }
    return any ? std::optional(value) : std::nullopt;
}

std::optional<uint64> fileLength(std::span<const uint8> block) {
    const auto field = block.subspan(kLengthAt, kLengthBytes);
    return field[0] == 0x80 ? std::optional(loadBe<uint64>(field.data() + 4)) : octal(field);
}

bool isHeader(std::span<const uint8> block) {
    const auto told = octal(block.subspan(kSumAt, kSumBytes));
    if (!told || block[0] == 0)
        return false;
    uint64 sum = 0;
    for (std::size_t i = 0; i < kBlock; ++i)
        sum += i - kSumAt < kSumBytes ? uint8{' '} : block[i];
    return sum == *told;
}

constexpr Mark kMarks[] = {{kSumAt, "01234567 \0"sv}};

class TarKind : public ContentKind {
public:
    std::span<const ContentType> types() const override { return kTypes; }

    std::string_view firstBytes() const override { return {}; }

    std::span<const Mark> marks() const override { return kMarks; }

    std::size_t bytesNeeded() const override { return kBlock; }

    Certainty begins(std::span<const uint8> first) const override {
        if (first.size() < kBlock || !isHeader(first))
            return Certainty::No;
        return Certainty::Structure;
    }

    bool restLooksWhole() const override { return true; }

protected:
    void follow(ContentReader& reader, MeasuredContent& found) const override {
        uint64 at = 0;
        uint64 sound = 0;
        while (true) {
            const auto block = reader.bytes(at, kBlock);
            if (std::ranges::all_of(block, [](uint8 b) { return b == 0; }))
                break;
            const auto length = fileLength(block);
            if (!isHeader(block) || !length || *length > reader.size())
                return found.breaks(sound, at);
            sound = at;
            at += kBlock + (*length + kBlock - 1) / kBlock * kBlock;
            if (at > reader.size())
                return found.breaks(sound, reader.size());
        }
        const uint64 end = at + 2 * kBlock;
        if (reader.zerosEnd(at, end) < end)
            return found.breaks(at, std::min(end, reader.size()));
        const uint64 record = (end + kRecord - 1) / kRecord * kRecord;
        found.endsAt(reader.zerosEnd(end, record) == record ? record : end);
    }
};

} // namespace

const ContentKind& tarKind() {
    static const TarKind kind;
    return kind;
}

} // namespace kova
