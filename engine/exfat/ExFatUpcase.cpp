#include "engine/exfat/ExFatUpcase.h"

#include "engine/LittleEndian.h"

#include <cstddef>
#include <numeric>

namespace kova {

namespace {

constexpr std::size_t kUnits = 0x10000;
/// In a packed table: the next unit tells how many characters stay as they are.
constexpr char16_t kUnchangedMark = 0xFFFF;

} // namespace

ExFatUpcase::ExFatUpcase() : upper_(kUnits) {
    std::iota(upper_.begin(), upper_.end(), char16_t{0});
    for (char16_t lower = u'a'; lower <= u'z'; ++lower)
        upper_[lower] = static_cast<char16_t>(lower - u'a' + u'A');
}

void ExFatUpcase::unpack(std::span<const uint8> packed) {
    std::iota(upper_.begin(), upper_.end(), char16_t{0});
    std::size_t unit = 0;
    for (std::size_t at = 0; at + 1 < packed.size() && unit < kUnits; at += 2) {
        const auto value = loadLe<char16_t>(packed.data() + at);
        if (value == kUnchangedMark && at + 3 < packed.size()) {
            at += 2;
            unit += loadLe<uint16>(packed.data() + at);
        } else {
            upper_[unit++] = value;
        }
    }
}

uint32 ExFatUpcase::checksum(std::span<const uint8> packed) {
    uint32 sum = 0;
    for (const uint8 byte : packed)
        sum = (sum >> 1 | sum << 31) + byte;
    return sum;
}

uint16 ExFatUpcase::nameHash(std::u16string_view name) const {
    uint32 hash = 0;
    const auto add = [&hash](uint32 byte) { hash = ((hash >> 1 | hash << 15) + byte) & 0xFFFFU; };
    for (const char16_t unit : name) {
        const char16_t upper = upper_[unit];
        add(upper & 0xFFU);
        add(static_cast<uint32>(upper) >> 8U);
    }
    return static_cast<uint16>(hash);
}

} // namespace kova
