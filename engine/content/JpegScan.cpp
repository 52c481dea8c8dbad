#include "engine/content/JpegScan.h"

#include <algorithm>
#include <bit>

namespace kova {

namespace {

constexpr uint8 kBaseline = 0xC0;
constexpr uint8 kExtended = 0xC1;
constexpr uint8 kFirstRestart = 0xD0;
constexpr uint8 kLastRestart = 0xD7;
/// A code and the bits of the value behind it.
constexpr unsigned kLongestStep = JpegCodes::kLongest + 15;
constexpr unsigned kBlockValues = 64;

bool isRestart(uint8 marker) {
    return marker >= kFirstRestart && marker <= kLastRestart;
}

/// Markers that may follow coded data: tables, the next scan, comments, the end.
bool mayFollowScan(uint8 marker) {
    return marker == 0xC4 || (marker >= 0xD9 && marker <= 0xDE) || marker == 0xFE ||
           (marker >= 0xE0 && marker <= 0xEF);
}

uint32 dividedUp(uint32 value, uint32 by) {
    return (value + by - 1) / by;
}

} // namespace

/// The bits of coded data, stuffed zeros left out.
class JpegScan::Bits {
    static constexpr unsigned kWindowBits = 64;

public:
    Bits(ContentReader& reader, uint64 at) : reader_(reader), next_(at) {}

    /// The code that comes next, without taking it. Behind it lie the bits of a value at least.
    JpegCodes::Code peek(const JpegCodes& codes) {
        fill(kLongestStep);
        return codes.find(static_cast<uint32>(window_ >> (held_ - JpegCodes::kLongest)) & 0xFFFF);
    }

    /// Takes bits of what `peek` has made sure of.
    void skip(unsigned count) { held_ -= count; }

    /// Whether more was taken than there is.
    [[nodiscard]] bool isOverrun() const { return held_ < padding_; }

    /// The data's end has been met, and nothing but padding is left before it.
    [[nodiscard]] bool isAtMarker() {
        fill(8);
        return marker_ && held_ < padding_ + 8;
    }

    [[nodiscard]] uint64 markerAt() const { return next_; }

    [[nodiscard]] std::optional<uint8> marker() const { return marker_; }

    /// About where the last bit taken lies.
    [[nodiscard]] uint64 position() const {
        const uint32 ofThese = stuffed_ & ((1U << held_ / 8) - 1);
        const unsigned bytes = isOverrun() ? 0 : (held_ - padding_) / 8;
        return next_ - bytes - static_cast<unsigned>(std::popcount(ofThese));
    }

    void restartBehindMarker() {
        next_ += 2;
        held_ = 0;
        padding_ = 0;
        window_ = 0;
        marker_.reset();
        left_ = {};
        stuffed_ = 0;
    }

private:
    void fill(unsigned count) {
        if (held_ < count && !fillAtOnce())
            fillByBytes(count);
    }

    /// As many bytes as there is room for, if none of the next eight is 0xFF.
    bool fillAtOnce() {
        constexpr uint64 kLowBits = 0x0101010101010101;
        constexpr uint64 kHighBits = 0x8080808080808080;
        if (next_ < leftAt_ || next_ - leftAt_ + sizeof(uint64) > left_.size())
            return false;
        const auto eight = loadBe<uint64>(&left_[static_cast<std::size_t>(next_ - leftAt_)]);
        if (((~eight - kLowBits) & eight & kHighBits) != 0)
            return false;
        const unsigned bytes = (kWindowBits - 1 - held_) / 8;
        window_ = window_ << (8 * bytes) | eight >> (kWindowBits - 8 * bytes);
        stuffed_ <<= bytes;
        held_ += 8 * bytes;
        next_ += bytes;
        return true;
    }

    void fillByBytes(unsigned count) {
        while (held_ < count) {
            uint8 byte = 0xFF;
            stuffed_ <<= 1;
            if (marker_ || !takeByte(byte))
                padding_ += 8;
            window_ = window_ << 8 | byte;
            held_ += 8;
        }
    }

    bool takeByte(uint8& byte) {
        byte = at(next_);
        if (byte != 0xFF) {
            ++next_;
            return true;
        }
        const uint8 after = at(next_ + 1);
        if (after == 0) {
            next_ += 2;
            stuffed_ |= 1;
            return true;
        }
        marker_ = after;
        return false;
    }

    uint8 at(uint64 offset) {
        if (offset < leftAt_ || offset >= leftAt_ + left_.size()) {
            left_ = reader_.some(offset);
            leftAt_ = offset;
            if (left_.empty())
                fail();
        }
        return left_[static_cast<std::size_t>(offset - leftAt_)];
    }

    ContentReader& reader_;
    uint64 next_;
    uint64 window_ = 0;
    unsigned held_ = 0;    ///< Bits of the window that are not taken yet.
    uint32 stuffed_ = 0;   ///< By bytes of the window, the last one lowest: a zero stood behind it.
    unsigned padding_ = 0; ///< Of the bits held, those that are none of the data.
    std::optional<uint8> marker_;
    std::span<const uint8> left_;
    uint64 leftAt_ = 0;
};

bool JpegScan::takeFrame(ContentReader& reader, uint8 marker, uint64 at, uint64 length) {
    constexpr uint64 kHeader = 6;
    constexpr uint64 kPerComponent = 3;
    isBaseline_ = (marker == kBaseline || marker == kExtended) && reader.byte(at) == 8;
    height_ = reader.be<uint16>(at + 1);
    width_ = reader.be<uint16>(at + 3);
    const uint8 count = reader.byte(at + 5);
    components_.clear();
    if (length < kHeader + kPerComponent * count || count > 4)
        return false;
    for (uint8 i = 0; i < count; ++i) {
        const uint64 entry = at + kHeader + kPerComponent * i;
        const uint8 sampling = reader.byte(entry + 1);
        components_.push_back({reader.byte(entry), static_cast<uint8>(sampling >> 4),
                               static_cast<uint8>(sampling & 0x0F), 0, 0});
        if (components_.back().across == 0 || components_.back().across > 4 ||
            components_.back().down == 0 || components_.back().down > 4)
            return false;
    }
    return true;
}

bool JpegScan::takeTables(ContentReader& reader, uint64 at, uint64 length) {
    const uint64 end = at + length;
    while (at < end) {
        const uint8 which = reader.byte(at);
        ++at;
        std::optional<JpegCodes> table = JpegCodes::read(reader, at);
        if (!table)
            return false;
        if ((which & 0x0F) > 3 || (which >> 4) > 1)
            return false;
        ((which >> 4) == 0 ? dcTables_ : acTables_)[which & 0x0F] = std::move(table);
    }
    return at == end;
}

bool JpegScan::takeScan(ContentReader& reader, uint64 header, std::vector<Component>& scan) {
    const uint8 count = reader.byte(header);
    for (uint8 i = 0; i < count; ++i) {
        const uint8 id = reader.byte(header + 1 + 2 * uint64{i});
        const uint8 tables = reader.byte(header + 2 + 2 * uint64{i});
        const auto component = std::find_if(components_.begin(), components_.end(),
                                            [id](const Component& one) { return one.id == id; });
        if (component == components_.end() || (tables & 0x0F) > 3 || (tables >> 4) > 3)
            return false;
        scan.push_back(*component);
        scan.back().dcTable = tables >> 4;
        scan.back().acTable = tables & 0x0F;
        if (!dcTables_[scan.back().dcTable] || !acTables_[scan.back().acTable])
            return false;
    }
    return !scan.empty();
}

/// Units that a scan is made of.
uint64 JpegScan::unitsOf(const std::vector<Component>& scan) const {
    uint32 mostAcross = 1;
    uint32 mostDown = 1;
    for (const Component& component : components_) {
        mostAcross = std::max<uint32>(mostAcross, component.across);
        mostDown = std::max<uint32>(mostDown, component.down);
    }
    if (scan.size() > 1)
        return uint64{dividedUp(width_, 8 * mostAcross)} * dividedUp(height_, 8 * mostDown);
    // Alone, a component has no more blocks than it needs.
    return uint64{dividedUp(dividedUp(width_ * scan[0].across, mostAcross), 8)} *
           dividedUp(dividedUp(height_ * scan[0].down, mostDown), 8);
}

JpegScan::End JpegScan::follow(ContentReader& reader, uint64 header, uint64 data) {
    std::vector<Component> scan;
    if (isBaseline_ && width_ != 0 && height_ != 0 && takeScan(reader, header, scan))
        return decode(reader, scan, data);
    return followMarkers(reader, data);
}

JpegScan::End JpegScan::followMarkers(ContentReader& reader, uint64 data) const {
    for (uint64 at = data;;) {
        const auto piece = reader.some(at);
        if (piece.empty())
            fail();
        const auto mark = std::find(piece.begin(), piece.end(), 0xFF);
        at += static_cast<uint64>(mark - piece.begin());
        if (mark == piece.end())
            continue;
        const uint8 marker = reader.byte(at + 1);
        if (marker == 0xFF)
            ++at;
        else if (marker == 0 || (isRestart(marker) && restart_ != 0))
            at += 2;
        else
            return {at, mayFollowScan(marker), false};
    }
}

/// One block of 64 values; false when no code fits.
bool JpegScan::block(Bits& bits, const JpegCodes& dc, const JpegCodes& ac) {
    constexpr uint8 kMostDcBits = 11;
    const JpegCodes::Code first = bits.peek(dc);
    if (first.bits == 0 || first.symbol > kMostDcBits)
        return false;
    bits.skip(unsigned{first.bits} + first.symbol);
    unsigned values = 1;
    while (values < kBlockValues) {
        const JpegCodes::Code code = bits.peek(ac);
        bits.skip(code.step);
        values += code.values;
    }
    return (values == kBlockValues || values >= JpegCodes::kEndOfBlock) && !bits.isOverrun();
}

JpegScan::End JpegScan::decode(ContentReader& reader, const std::vector<Component>& scan,
                               uint64 data) const {
    Bits bits(reader, data);
    const uint64 units = unitsOf(scan);
    for (uint64 unit = 0; unit < units; ++unit) {
        if (restart_ != 0 && unit != 0 && unit % restart_ == 0) {
            if (!bits.isAtMarker() || !bits.marker() || !isRestart(*bits.marker()))
                return {bits.position(), false, false};
            bits.restartBehindMarker();
        }
        for (const Component& component : scan) {
            const unsigned blocks =
                scan.size() == 1 ? 1U : unsigned{component.across} * component.down;
            for (unsigned i = 0; i < blocks; ++i) {
                if (!block(bits, *dcTables_[component.dcTable], *acTables_[component.acTable]))
                    return {bits.position(), false, false};
            }
        }
    }
    // Some writers put a restart marker behind the last unit, too.
    if (!bits.isAtMarker() || !bits.marker())
        return {bits.position(), false, false};
    if (isRestart(*bits.marker()))
        return followMarkers(reader, bits.markerAt());
    return {bits.markerAt(), mayFollowScan(*bits.marker()), true};
}

} // namespace kova
