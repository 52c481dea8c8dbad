#include "engine/content/FrameChain.h"
#include "engine/content/kinds.h"

#include <optional>

namespace kova {

namespace {

constexpr ContentType kTypes[] = {{L"MPEG-TS", L"ts", ContentGroup::Videos},
                                  {L"M2TS", L"m2ts", ContentGroup::Videos}};

/// Packets of 188 bytes that begin with a sync byte, on Blu-ray discs and in cameras after four
/// bytes of arrival time.
constexpr uint8 kSync = 0x47;
constexpr std::size_t kPacket = 188;
constexpr std::size_t kArrival = 4;
constexpr std::size_t kPacketsAhead = 5;

constexpr std::size_t kHeader = 4;
/// What byte 3 says of an adaptation field and a payload: one of them is in every packet.
constexpr uint8 kContents = 0x30;

bool isHeader(uint8 sync, uint8 byte3) {
    return sync == kSync && (byte3 & kContents) != 0;
}

/// Bytes before each packet, if `first` begins with packets in a row; fewer do when it is short.
std::optional<std::size_t> leadOf(std::span<const uint8> first) {
    for (const std::size_t lead : {std::size_t{0}, kArrival}) {
        std::size_t packets = 0;
        std::size_t at = lead;
        while (packets < kPacketsAhead && at + kHeader <= first.size() &&
               isHeader(first[at], first[at + kHeader - 1])) {
            at += lead + kPacket;
            ++packets;
        }
        if (packets == kPacketsAhead || (packets > 1 && at + kHeader > first.size()))
            return lead;
    }
    return std::nullopt;
}

class PacketChain : public FrameChain {
public:
    explicit PacketChain(std::size_t lead) : lead_(lead) {}

    uint64 frameAt(ContentReader& reader, uint64 at) override {
        const uint64 header = at + lead_;
        return reader.has(header, kHeader) &&
                       isHeader(reader.byte(header), reader.byte(header + kHeader - 1))
                   ? lead_ + kPacket
                   : 0;
    }

private:
    std::size_t lead_;
};

constexpr Mark kMarks[] = {{0, "\x47"}, {kArrival, "\x47"}};

class MpegTransportKind : public ContentKind {
public:
    std::span<const ContentType> types() const override { return kTypes; }

    std::string_view firstBytes() const override { return {}; }

    std::span<const Mark> marks() const override { return kMarks; }

    std::size_t bytesNeeded() const override { return 2 * (kArrival + kPacket); }

    Certainty begins(std::span<const uint8> first) const override {
        const auto lead = leadOf(first);
        if (!lead)
            return Certainty::No;
        return first.size() >= kPacketsAhead * (*lead + kPacket) ? Certainty::Structure
                                                                 : Certainty::Weak;
    }

    Fit mayContinue(std::span<const uint8> block, uint64) const override {
        // Packets lie in no fixed place of a block.
        for (std::size_t at = 0; at < kPacket + kArrival && at < block.size(); ++at) {
            if (block[at] == kSync && leadOf(block.subspan(at)))
                return Fit::Yes;
        }
        return block.size() < 2 * (kPacket + kArrival) ? Fit::CannotTell : Fit::No;
    }

protected:
    void follow(ContentReader& reader, MeasuredContent& found) const override {
        const auto lead = leadOf(reader.some(0));
        if (!lead)
            return;
        found.type = &kTypes[*lead == 0 ? 0 : 1];
        const bool isBeginning = hasTable(reader, *lead);
        PacketChain chain(*lead);
        const uint64 end = chain.end(reader, 0);
        if (chain.cut() || !isBeginning || chain.goesOn(reader, end))
            return found.breaks(end, end);
        found.endsAt(end);
    }

private:
    /// Whether the table of programs, without which nothing can be played, is near the beginning:
    /// the rest of a file looks like a whole one.
    static bool hasTable(ContentReader& reader, std::size_t lead) {
        constexpr uint64 kNear = 16;
        constexpr uint16 kPacketOf = 0x1FFF;
        const uint64 step = lead + kPacket;
        for (uint64 at = lead; at < kNear * step && reader.has(at, kHeader); at += step) {
            if ((reader.be<uint16>(at + 1) & kPacketOf) == 0)
                return true;
        }
        return false;
    }
};

} // namespace

const ContentKind& mpegTransportKind() {
    static const MpegTransportKind kind;
    return kind;
}

} // namespace kova
