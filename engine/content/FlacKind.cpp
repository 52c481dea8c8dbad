#include "engine/content/BitReader.h"
#include "engine/content/VorbisComment.h"
#include "engine/content/kinds.h"

#include <array>
#include <optional>

namespace kova {

namespace {

using namespace std::string_view_literals;

constexpr ContentType kTypes[] = {{L"FLAC", L"flac", ContentGroup::Sounds}};

constexpr auto kMagic = "fLaC"sv;
/// A metadata block: one byte (the highest bit: the last one; its type), the length of its data
/// (3 bytes). The first describes the stream: samples in all are the low 36 bits from byte 13 on.
constexpr uint32 kStreamInfoBytes = 34;
constexpr uint64 kBlockHeader = 4;
constexpr uint64 kSampleBitsAt = 12;
constexpr uint64 kTotalAt = 14;
constexpr uint8 kLastBlock = 0x80;
constexpr uint8 kTypeMask = 0x7F;
constexpr uint8 kPadding = 1;
constexpr uint8 kComment = 4;
constexpr uint8 kInvalidBlock = 127;

constexpr std::array<uint16, 256> makeCrcTable() {
    std::array<uint16, 256> table{};
    for (unsigned i = 0; i < table.size(); ++i) {
        unsigned crc = i << 8;
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc & 0x8000U) != 0 ? (crc << 1) ^ 0x8005U : crc << 1;
        table[i] = static_cast<uint16>(crc);
    }
    return table;
}

constexpr std::array<uint16, 256> kCrcTable = makeCrcTable();

/// CRC-16 of a frame with its own CRC behind it: 0 for a sound one.
bool isSound(ContentReader& reader, uint64 at, uint64 end) {
    uint16 crc = 0;
    while (at < end) {
        const auto piece = reader.some(at, end - at);
        if (piece.empty())
            fail();
        for (const uint8 byte : piece)
            crc = static_cast<uint16>((crc << 8) ^ kCrcTable[(crc >> 8) ^ byte]);
        at += piece.size();
    }
    return crc == 0;
}

/// Takes a frame apart, without making sound of it, to learn where it ends.
class Frame {
public:
    Frame(ContentReader& reader, uint64 at, unsigned streamBits)
        : bits_(reader, at), sampleBits_(streamBits) {}

    /// Where it ends; nothing when it is none.
    std::optional<uint64> end() {
        if (!header())
            return std::nullopt;
        for (unsigned channel = 0; channel < channels_; ++channel) {
            const bool isSide = (assignment_ == kLeftSide && channel == 1) ||
                                (assignment_ == kSideRight && channel == 0) ||
                                (assignment_ == kMidSide && channel == 1);
            if (!subframe(sampleBits_ + (isSide ? 1 : 0)))
                return std::nullopt;
        }
        constexpr uint64 kCrcBytes = 2;
        return bits_.byteBehind() + kCrcBytes;
    }

    [[nodiscard]] uint32 samples() const { return samples_; }

private:
    static constexpr unsigned kLeftSide = 8;
    static constexpr unsigned kSideRight = 9;
    static constexpr unsigned kMidSide = 10;

    bool header() {
        constexpr uint32 kSync = 0x7FFC; // 14 bits of it, and a reserved zero.
        if (bits_.bits(15) != kSync)
            return false;
        bits_.bits(1);
        const uint32 size = bits_.bits(4);
        const uint32 rate = bits_.bits(4);
        assignment_ = bits_.bits(4);
        const uint32 depth = bits_.bits(3);
        if (size == 0 || rate == 15 || assignment_ > kMidSide || depth == 3 || bits_.bits(1) != 0)
            return false;
        channels_ = assignment_ < kLeftSide ? assignment_ + 1 : 2;
        constexpr std::array<unsigned, 8> kDepths{0, 8, 12, 0, 16, 20, 24, 32};
        if (kDepths[depth] != 0)
            sampleBits_ = kDepths[depth];
        // The frame's number, coded as UTF-8 codes characters.
        uint32 first = bits_.bits(8);
        for (; (first & 0xC0) == 0xC0; first = (first << 1) & 0xFF)
            bits_.bits(8);
        samples_ = size == 1   ? 192
                   : size <= 5 ? 576U << (size - 2)
                   : size == 6 ? bits_.bits(8) + 1
                   : size == 7 ? bits_.bits(16) + 1
                               : 256U << (size - 8);
        bits_.bits(rate == 12 ? 8 : rate == 13 || rate == 14 ? 16 : 0);
        bits_.bits(8); // Its CRC-8; the CRC of the whole frame is looked at.
        return true;
    }

    bool subframe(unsigned depth) {
        if (bits_.bits(1) != 0)
            return false;
        const uint32 type = bits_.bits(6);
        if (bits_.bits(1) != 0) {
            const uint64 wasted = bits_.unary() + 1;
            if (wasted >= depth)
                return false;
            depth -= static_cast<unsigned>(wasted);
        }
        constexpr uint32 kFixed = 8;
        constexpr uint32 kLpc = 32;
        if (type == 0) {
            bits_.skip(depth);
            return true;
        }
        if (type == 1) {
            bits_.skip(uint64{depth} * samples_);
            return true;
        }
        if (type >= kLpc) {
            const uint32 order = type - kLpc + 1;
            bits_.skip(uint64{depth} * order);
            const uint32 precision = bits_.bits(4) + 1;
            bits_.bits(5);
            bits_.skip(uint64{precision} * order);
            return precision <= 15 && residual(order);
        }
        if (type < kFixed || type > kFixed + 4)
            return false;
        bits_.skip(uint64{depth} * (type - kFixed));
        return residual(type - kFixed);
    }

    bool residual(uint32 order) {
        const uint32 method = bits_.bits(2);
        const uint32 partitionOrder = bits_.bits(4);
        const uint32 partitions = 1U << partitionOrder;
        if (method > 1 || samples_ % partitions != 0 || samples_ / partitions < order)
            return false;
        const unsigned parameterBits = method == 0 ? 4 : 5;
        const uint32 escape = (1U << parameterBits) - 1;
        for (uint32 i = 0; i < partitions; ++i) {
            const uint32 count = samples_ / partitions - (i == 0 ? order : 0);
            const uint32 parameter = bits_.bits(parameterBits);
            if (parameter == escape) {
                bits_.skip(uint64{bits_.bits(5)} * count);
                continue;
            }
            for (uint32 sample = 0; sample < count; ++sample) {
                bits_.unary();
                bits_.bits(parameter);
            }
        }
        return true;
    }

    BitReader bits_;
    unsigned sampleBits_;
    unsigned assignment_ = 0;
    unsigned channels_ = 0;
    uint32 samples_ = 0;
};

class FlacKind : public ContentKind {
public:
    std::span<const ContentType> types() const override { return kTypes; }

    std::string_view firstBytes() const override { return "f"; }

    Certainty begins(std::span<const uint8> first) const override {
        if (!startsWith(first, kMagic))
            return Certainty::No;
        if (first.size() < kMagic.size() + kBlockHeader)
            return Certainty::Magic;
        return (readBe<uint32>(first, kMagic.size()) & 0x7FFFFFFF) == kStreamInfoBytes
                   ? Certainty::Structure
                   : Certainty::No;
    }

protected:
    void follow(ContentReader& reader, MeasuredContent& found) const override {
        found.verified = true;
        const uint64 info = kMagic.size() + kBlockHeader;
        const unsigned sampleBits = (reader.be<uint16>(info + kSampleBitsAt) >> 4 & 0x1FU) + 1;
        const uint64 total = (uint64{reader.byte(info + kTotalAt - 1)} & 0x0F) << 32 |
                             reader.be<uint32>(info + kTotalAt);
        uint64 at = kMagic.size();
        for (bool last = false; !last;) {
            const uint8 type = reader.byte(at);
            last = (type & kLastBlock) != 0;
            const uint64 length = reader.be<uint32>(at) & 0x00FFFFFF;
            if ((type & kTypeMask) == kInvalidBlock)
                return found.breaks(at, at);
            if ((type & kTypeMask) == kComment)
                found.title = vorbisTitle(reader.some(at + kBlockHeader, length));
            const uint64 next = at + kBlockHeader + length;
            const uint64 zerosEnd =
                (type & kTypeMask) == kPadding ? reader.zerosEnd(at + kBlockHeader, next) : next;
            if (zerosEnd < next)
                return found.breaks(at + kBlockHeader, zerosEnd);
            at = next;
        }
        uint64 samples = 0;
        while (total == 0 || samples < total) {
            Frame frame(reader, at, sampleBits);
            const auto end = frame.end();
            if (!end || !isSound(reader, at, *end)) {
                // Without a count the last frame is the one behind which none follows.
                if (total == 0 && samples > 0)
                    break;
                return found.breaks(at, end.value_or(at));
            }
            samples += frame.samples();
            at = *end;
        }
        found.endsAt(at);
    }
};

} // namespace

const ContentKind& flacKind() {
    static const FlacKind kind;
    return kind;
}

} // namespace kova
