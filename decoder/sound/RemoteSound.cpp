#include "decoder/sound/RemoteSound.h"

#include <chrono>

namespace sound {

namespace {

using decoder::Kind;
using Deadline = decoder::Client::Deadline;

constexpr std::chrono::milliseconds kMostOpenTime{2900};
constexpr std::chrono::seconds kMostReadTime{3};
// Hours of sound are decoded in less.
constexpr platform::ChildLimits kLimits{.memory = std::uint64_t{900} << 20, .cpuSeconds = 900};

Deadline in(std::chrono::milliseconds time) {
    return std::chrono::steady_clock::now() + time;
}

} // namespace

bool RemoteSound::open(std::span<const std::uint8_t> file) {
    const Deadline deadline = in(kMostOpenTime);
    if (file.size() > decoder::kMostFileBytes ||
        !process_.start(decoder::program(), L"sound", kLimits, deadline) ||
        !process_.send(Kind::File, file, deadline))
        return false;
    const auto format = process_.receive<decoder::SoundFormat>(Kind::Sound, deadline);
    if (!format)
        return false;
    format_ = *format;
    return format_.channels > 0 && format_.channels <= decoder::kMostChannels && format_.rate > 0 &&
           format_.rate <= decoder::kMostRate && format_.length > 0 &&
           format_.length % frameBytes() == 0;
}

std::size_t RemoteSound::read(std::uint64_t position, std::span<std::uint8_t> samples) {
    const Deadline deadline = in(kMostReadTime);
    const decoder::SoundRequest request{position, samples.size()};
    if (!process_.send(Kind::Request, decoder::bytesOf(request), deadline))
        return 0;
    const auto count = process_.receive(Kind::Samples, samples, deadline);
    return count && *count % frameBytes() == 0 ? *count : 0;
}

} // namespace sound
