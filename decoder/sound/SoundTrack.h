#pragma once

#include "decoder/av/AvHandle.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace sound {

/// The coded sound of a file, taken out of its container: every packet in order, and which
/// sample frames of the whole it stands for. That makes any place of the sound exact to reach,
/// whatever the container knows about places. The container's bytes are not needed afterwards.
class SoundTrack {
public:
    struct Packet {
        /// Where the coded bytes are in the track's own storage.
        std::uint32_t offset = 0;
        std::uint32_t size = 0;
        /// Sample frames it decodes to.
        std::uint32_t decoded = 0;
        /// What the container wants dropped from here on, and from this packet's end.
        std::uint32_t dropFront = 0;
        std::uint32_t dropBack = 0;
        /// Sample frames of this packet that are dropped, those kept after them, and how many
        /// of the sound lie before those.
        std::uint32_t skip = 0;
        std::uint32_t frames = 0;
        std::uint64_t start = 0;
        /// Decoded only for the sake of what follows it.
        bool hidden = false;
    };

    /// Takes the sound out of a whole file of one of the known kinds. Empty when there is none.
    static std::optional<SoundTrack> load(std::span<const std::uint8_t> file);

    [[nodiscard]] const AVCodecParameters& parameters() const { return *parameters_; }

    [[nodiscard]] const std::vector<Packet>& packets() const { return packets_; }

    [[nodiscard]] std::span<const std::uint8_t> bytes(const Packet& packet) const {
        return std::span(payload_).subspan(packet.offset, packet.size);
    }

    /// Sample frames of the whole sound.
    [[nodiscard]] std::uint64_t frames() const;

    /// Whether the packets themselves say how much they hold. Where they do not, `frames` is the
    /// container's guess until `setDecoded` corrects it.
    [[nodiscard]] bool tellsFrames() const { return tellsFrames_; }

    /// Says what packet `index` really decodes to. Followed by `place` when all is said.
    void setDecoded(std::size_t index, std::uint64_t decodedFrames);

    /// Drops `frames` from the start of packet `index` on. Followed by `place`, too.
    void dropFront(std::size_t index, std::uint32_t frames);

    /// Lines the packets up behind each other.
    void place();

    /// Number of the packet that holds `frame`, which is below `frames()`.
    [[nodiscard]] std::size_t packetAt(std::uint64_t frame) const;

private:
    SoundTrack() = default;

    void add(const AVPacket& packet, AVRational timeBase);

    av::AvHandle<AVCodecParameters> parameters_;
    std::vector<std::uint8_t> payload_;
    std::vector<Packet> packets_;
    bool tellsFrames_ = true;
    bool durationsAreCut_ = false;
};

} // namespace sound
