#include "decoder/picture/decodeApart.h"

#include "decoder/Client.h"
#include "decoder/picture/PictureMessage.h"

#include <chrono>
#include <optional>
#include <utility>

namespace picture {

namespace {

using decoder::Kind;
using Deadline = decoder::Client::Deadline;

/// From the click to the answer.
constexpr auto kMostTime = std::chrono::milliseconds(2900);
/// Decoders have up to four threads: the time, which tells a limit from a crash, is over first.
constexpr platform::ChildLimits kLimits{.memory = std::uint64_t{800} << 20, .cpuSeconds = 15};

Thumbnail failed(Outcome outcome) {
    return {.outcome = outcome, .width = 0, .height = 0, .pixels = {}};
}

bool isSide(std::uint32_t pixels) {
    return pixels > 0 && pixels <= kThumbnailSize;
}

/// What a decoder that is ready answers; nothing when it ended, fell silent or talks nonsense.
std::optional<Thumbnail> ask(decoder::Client& process, std::span<const std::uint8_t> file,
                             Deadline deadline) {
    if (!process.send(Kind::File, file, deadline))
        return std::nullopt;
    const auto message = process.receive<decoder::PictureMessage>(Kind::Picture, deadline);
    if (!message)
        return std::nullopt;
    if (message->outcome == static_cast<std::uint32_t>(Outcome::Unavailable))
        return failed(Outcome::Unavailable);
    if (message->outcome != static_cast<std::uint32_t>(Outcome::Decoded) ||
        !isSide(message->width) || !isSide(message->height))
        return std::nullopt;
    Thumbnail thumbnail{.outcome = Outcome::Decoded,
                        .width = message->width,
                        .height = message->height,
                        .pixels = std::vector<std::uint8_t>(std::size_t{message->width} *
                                                            message->height * kPixelBytes)};
    if (process.receive(Kind::Pixels, thumbnail.pixels, deadline) != thumbnail.pixels.size())
        return std::nullopt;
    return thumbnail;
}

} // namespace

Thumbnail decodeApart(const std::wstring& program, std::span<const std::uint8_t> file) {
    const Deadline deadline = std::chrono::steady_clock::now() + kMostTime;
    decoder::Client process;
    if (file.size() > decoder::kMostFileBytes ||
        !process.start(program, L"picture", kLimits, deadline))
        return failed(Outcome::Unavailable);
    if (auto thumbnail = ask(process, file, deadline))
        return *std::move(thumbnail);
    const bool isLate = std::chrono::steady_clock::now() >= deadline;
    return failed(isLate ? Outcome::Unavailable : Outcome::Corrupted);
}

} // namespace picture
