#include "engine/ntfs/MappingPairs.h"

#include <algorithm>

namespace kova {

namespace {

int64 addChecked(int64 a, int64 b) {
    int64 sum = 0;
    if (__builtin_add_overflow(a, b, &sum))
        throw ZDatarun::ECorruptAttribute{};
    return sum;
}

/// A little-endian two's-complement integer of any width. One that does not fit is corrupt.
int64 signedInteger(std::span<const uint8> bytes) {
    const uint8 sign = (bytes.back() & 0x80) != 0 ? 0xFF : 0x00;
    uint64 value = 0;
    for (std::size_t i = 0; i < sizeof(value); ++i)
        value |= static_cast<uint64>(i < bytes.size() ? bytes[i] : sign) << (8 * i);
    const bool negative = static_cast<int64>(value) < 0;
    const auto beyond =
        bytes.size() > sizeof(value) ? bytes.subspan(sizeof(value)) : bytes.first(0);
    const bool fits =
        std::all_of(beyond.begin(), beyond.end(), [sign](uint8 byte) { return byte == sign; });
    if (!fits || negative != (sign != 0))
        throw ZDatarun::ECorruptAttribute{};
    return static_cast<int64>(value);
}

} // namespace

MappingPairs::MappingPairs(const ntfs::AttributeHeader& attribute) : vcn_(attribute.firstVcn()) {
    const auto bytes = attribute.bytes();
    if (attribute.runsOffset() > bytes.size())
        throw ZDatarun::ECorruptAttribute{};
    pairs_ = bytes.subspan(attribute.runsOffset());
}

bool MappingPairs::next(ZDatarun& run) {
    const auto check = [this](std::size_t end) {
        if (end >= pairs_.size()) // The 0 byte must follow inside the attribute.
            throw ZDatarun::ECorruptAttribute{};
    };
    check(at_);
    if (pairs_[at_] == 0)
        return false;
    const std::size_t lengthBytes = pairs_[at_] & 0x0F;
    const std::size_t offsetBytes = pairs_[at_] >> 4;
    if (lengthBytes == 0)
        throw ZDatarun::ECorruptAttribute{};
    const std::size_t after = at_ + 1 + lengthBytes + offsetBytes;
    check(after);
    run.vcn = vcn_;
    run.length = signedInteger(pairs_.subspan(at_ + 1, lengthBytes));
    if (run.length < 0)
        throw ZDatarun::ECorruptAttribute{};
    vcn_ = addChecked(vcn_, run.length);
    run.lcn = ZDatarun::Hole;
    if (offsetBytes != 0) {
        lcn_ = addChecked(lcn_, signedInteger(pairs_.subspan(at_ + 1 + lengthBytes, offsetBytes)));
        if (lcn_ < ZDatarun::Hole)
            throw ZDatarun::ECorruptAttribute{};
        addChecked(lcn_, run.length); // Its last cluster has a number, too.
        run.lcn = lcn_;
    }
    at_ = after;
    return true;
}

} // namespace kova
