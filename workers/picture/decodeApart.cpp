#include "workers/picture/decodeApart.h"

#include "platform/ChildProcess.h"
#include "workers/picture/Protocol.h"

#include <array>
#include <bit>
#include <chrono>

namespace picture {

namespace {

/// From the click to the answer.
constexpr auto kMostTime = std::chrono::milliseconds(2900);
constexpr platform::ChildLimits kLimits{.memory = std::uint64_t{800} << 20, .cpuSeconds = 6};

using LengthBytes = std::array<std::uint8_t, sizeof(protocol::Length)>;

} // namespace

Thumbnail decodeApart(const std::wstring& program, std::span<const std::uint8_t> file) {
    const auto deadline = std::chrono::steady_clock::now() + kMostTime;
    if (file.size() > protocol::kMostFileBytes)
        return {Outcome::Corrupted, {}};
    platform::ChildProcess decoder;
    std::array<std::uint8_t, 1> byte{};
    if (!decoder.start(program, {L"picture"}, kLimits) ||
        decoder.read(byte, deadline) != byte.size() || byte[0] != protocol::kReady)
        return {Outcome::Unavailable, {}};

    auto length = std::bit_cast<LengthBytes>(protocol::Length{file.size()});
    if (!decoder.write(length, deadline) || !decoder.write(file, deadline) ||
        decoder.read(byte, deadline) != byte.size() ||
        decoder.read(length, deadline) != length.size())
        return {Outcome::Corrupted, {}};
    if (byte[0] == static_cast<std::uint8_t>(Outcome::Unavailable))
        return {Outcome::Unavailable, {}};
    const auto pngBytes = std::bit_cast<protocol::Length>(length);
    if (byte[0] != static_cast<std::uint8_t>(Outcome::Decoded) ||
        pngBytes > protocol::kMostPngBytes)
        return {Outcome::Corrupted, {}};
    Thumbnail thumbnail{Outcome::Decoded, std::vector<std::uint8_t>(pngBytes)};
    if (decoder.read(thumbnail.png, deadline) != thumbnail.png.size())
        return {Outcome::Corrupted, {}};
    return thumbnail;
}

} // namespace picture
