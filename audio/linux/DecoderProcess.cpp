#include "audio/linux/DecoderProcess.h"

#include <chrono>

namespace audio {

namespace {

using Deadline = platform::ChildProcess::Deadline;

constexpr std::chrono::milliseconds kMostOpenTime{2900};
constexpr std::chrono::seconds kMostReadTime{3};
// Hours of sound are decoded in less.
constexpr platform::ChildLimits kLimits{.memory = std::uint64_t{900} << 20, .cpuSeconds = 900};

Deadline in(std::chrono::milliseconds time) {
    return std::chrono::steady_clock::now() + time;
}

template <class Message>
bool receive(platform::ChildProcess& process, Message& message, Deadline deadline) {
    protocol::Bytes<Message> bytes{};
    if (process.read(bytes, deadline) != bytes.size())
        return false;
    message = std::bit_cast<Message>(bytes);
    return true;
}

} // namespace

bool DecoderProcess::open(std::span<const std::uint8_t> file) {
    const Deadline deadline = in(kMostOpenTime);
    std::uint8_t ready = 0;
    const bool answered =
        file.size() <= protocol::kMostFileBytes &&
        process_.start(platform::decoderProgram(), {L"sound"}, kLimits) &&
        receive(process_, ready, deadline) && ready == protocol::kReady &&
        process_.write(protocol::bytesOf(protocol::Length{file.size()}), deadline) &&
        process_.write(file, deadline) && receive(process_, format_, deadline);
    return answered && format_.channels > 0 && format_.channels <= protocol::kMostChannels &&
           format_.rate > 0 && format_.rate <= protocol::kMostRate && format_.length > 0 &&
           format_.length % frameBytes() == 0;
}

std::size_t DecoderProcess::read(std::uint64_t position, std::span<std::uint8_t> samples) {
    const Deadline deadline = in(kMostReadTime);
    const protocol::Request request{position, samples.size()};
    protocol::Length count = 0;
    if (!process_.write(protocol::bytesOf(request), deadline) ||
        !receive(process_, count, deadline) || count > samples.size() ||
        count % frameBytes() != 0 || process_.read(samples.first(count), deadline) != count)
        return 0;
    return count;
}

} // namespace audio
