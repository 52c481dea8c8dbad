#include "workers/picture/decodeApart.h"

#include "platform/ChildProcess.h"
#include "workers/picture/Protocol.h"

#include <array>
#include <bit>
#include <chrono>
#include <optional>
#include <utility>

namespace picture {

namespace {

/// From the click to the answer.
constexpr auto kMostTime = std::chrono::milliseconds(2900);
/// Decoders have up to four threads: the time, which tells a limit from a crash, is over first.
constexpr platform::ChildLimits kLimits{.memory = std::uint64_t{800} << 20, .cpuSeconds = 15};

using LengthBytes = std::array<std::uint8_t, sizeof(protocol::Length)>;
using ReplyBytes = std::array<std::uint8_t, sizeof(protocol::Reply)>;
using Deadline = platform::ChildProcess::Deadline;

Thumbnail failed(Outcome outcome) {
    return {.outcome = outcome, .width = 0, .height = 0, .pixels = {}};
}

bool isSide(std::uint32_t pixels) {
    return pixels > 0 && pixels <= kThumbnailSize;
}

/// What a decoder that is ready answers; nothing when it ended, fell silent or talks nonsense.
std::optional<Thumbnail> ask(platform::ChildProcess& decoder, std::span<const std::uint8_t> file,
                             Deadline deadline) {
    ReplyBytes bytes{};
    if (!decoder.write(std::bit_cast<LengthBytes>(protocol::Length{file.size()}), deadline) ||
        !decoder.write(file, deadline) || decoder.read(bytes, deadline) != bytes.size())
        return std::nullopt;
    const auto reply = std::bit_cast<protocol::Reply>(bytes);
    if (reply.outcome == static_cast<std::uint32_t>(Outcome::Unavailable))
        return failed(Outcome::Unavailable);
    if (reply.outcome != static_cast<std::uint32_t>(Outcome::Decoded) || !isSide(reply.width) ||
        !isSide(reply.height))
        return std::nullopt;
    Thumbnail thumbnail{
        .outcome = Outcome::Decoded,
        .width = reply.width,
        .height = reply.height,
        .pixels = std::vector<std::uint8_t>(std::size_t{reply.width} * reply.height * kPixelBytes)};
    if (decoder.read(thumbnail.pixels, deadline) != thumbnail.pixels.size())
        return std::nullopt;
    return thumbnail;
}

} // namespace

Thumbnail decodeApart(const std::wstring& program, std::span<const std::uint8_t> file) {
    const Deadline deadline = std::chrono::steady_clock::now() + kMostTime;
    platform::ChildProcess decoder;
    std::array<std::uint8_t, 1> ready{};
    if (file.size() > protocol::kMostFileBytes || !decoder.start(program, {L"picture"}, kLimits) ||
        decoder.read(ready, deadline) != ready.size() || ready[0] != protocol::kReady)
        return failed(Outcome::Unavailable);
    if (auto thumbnail = ask(decoder, file, deadline))
        return *std::move(thumbnail);
    const bool isLate = std::chrono::steady_clock::now() >= deadline;
    return failed(isLate ? Outcome::Unavailable : Outcome::Corrupted);
}

} // namespace picture
