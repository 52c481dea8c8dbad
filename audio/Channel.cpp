#include "audio/Channel.h"

#include <algorithm>
#include <chrono>
#include <utility>

namespace audio {

namespace {

// What is decoded ahead is about a second of sound, fetched in pieces of this many bytes.
constexpr std::size_t kPieceBytes = std::size_t{32} << 10;
constexpr std::size_t kLeastAheadBytes = 2 * kPieceBytes;
constexpr std::size_t kMostAheadBytes = std::size_t{1} << 20;

// A device that another channel is just leaving can be had a moment later.
constexpr int kDeviceTries = 20;
constexpr std::chrono::milliseconds kDevicePause{100};

} // namespace

std::unique_ptr<Channel> Channel::open(std::span<const std::uint8_t> file) {
    auto decoder = std::make_unique<sound::RemoteSound>();
    if (!decoder->open(file))
        return nullptr;
    return std::unique_ptr<Channel>(new Channel(std::move(decoder)));
}

Channel::Channel(std::unique_ptr<sound::RemoteSound> decoder)
    : decoder_(std::move(decoder)), piece_(kPieceBytes) {
    const std::size_t second =
        std::size_t{decoder_->format().rate} * std::size_t{decoder_->frameBytes()};
    ahead_.resize(std::clamp(second, kLeastAheadBytes, kMostAheadBytes));
    thread_ = std::thread([this] { run(); });
}

Channel::~Channel() {
    close();
    thread_.join();
}

void Channel::close() {
    {
        const std::lock_guard lock(mutex_);
        closing_ = true;
        playing_ = false;
    }
    // The thread may be waiting for it.
    decoder_->kill();
    changed_.notify_one();
}

void Channel::play(bool restart) {
    {
        const std::lock_guard lock(mutex_);
        if (restart || position_ == length())
            moveTo(0);
        playing_ = !closing_;
    }
    changed_.notify_one();
}

bool Channel::pause() {
    const std::lock_guard lock(mutex_);
    const bool wasPlaying = std::exchange(playing_, false);
    changed_.notify_one();
    return wasPlaying;
}

bool Channel::setPosition(std::uint64_t position) {
    if (position > length())
        return false;
    {
        const std::lock_guard lock(mutex_);
        moveTo(position - position % decoder_->frameBytes());
    }
    changed_.notify_one();
    return true;
}

std::uint64_t Channel::position() const {
    const std::lock_guard lock(mutex_);
    return position_;
}

void Channel::moveTo(std::uint64_t position) {
    position_ = fetched_ = position;
    first_ = 0;
    ++moves_;
}

bool Channel::hasRoom() const {
    return !failed_ && fetched_ < length() && ahead_.size() - (fetched_ - position_) >= kPieceBytes;
}

void Channel::run() {
    std::unique_lock lock(mutex_);
    while (!closing_) {
        if (playing_ != (device_ != nullptr))
            follow(lock);
        else if (hasRoom())
            fetch(lock);
        else
            changed_.wait(lock);
    }
    lock.unlock();
    device_.reset();
    over_ = true;
}

void Channel::follow(std::unique_lock<std::mutex>& lock) {
    if (!playing_) {
        lock.unlock();
        device_.reset();
        lock.lock();
        return;
    }
    for (int tries = 0; playing_ && tries < kDeviceTries; ++tries) {
        lock.unlock();
        device_ = openOutput(decoder_->format(), [this](auto samples) { hand(samples); });
        lock.lock();
        if (device_ != nullptr)
            return;
        changed_.wait_for(lock, kDevicePause);
    }
    playing_ = false;
}

void Channel::fetch(std::unique_lock<std::mutex>& lock) {
    const std::uint64_t position = fetched_;
    const std::uint64_t moves = moves_;
    lock.unlock();
    const std::size_t count = decoder_->read(position, piece_);
    lock.lock();
    failed_ = count == 0;
    if (moves != moves_)
        return;
    const std::size_t at = (first_ + (fetched_ - position_)) % ahead_.size();
    const std::size_t untilEnd = std::min(count, ahead_.size() - at);
    std::copy_n(piece_.data(), untilEnd, ahead_.data() + at);
    std::copy_n(piece_.data() + untilEnd, count - untilEnd, ahead_.data());
    fetched_ += std::min<std::uint64_t>(count, length() - fetched_);
}

void Channel::hand(std::span<std::uint8_t> samples) {
    std::size_t count = 0;
    {
        const std::lock_guard lock(mutex_);
        if (playing_) {
            count = static_cast<std::size_t>(
                std::min<std::uint64_t>(samples.size(), fetched_ - position_));
            const std::size_t untilEnd = std::min(count, ahead_.size() - first_);
            std::copy_n(ahead_.data() + first_, untilEnd, samples.data());
            std::copy_n(ahead_.data(), count - untilEnd, samples.data() + untilEnd);
            first_ = (first_ + count) % ahead_.size();
            position_ += count;
            // Nothing more will come: the sound is over here.
            if (position_ == fetched_ && (failed_ || fetched_ == length())) {
                moveTo(length());
                playing_ = false;
            }
        }
    }
    std::fill(samples.begin() + static_cast<std::ptrdiff_t>(count), samples.end(), std::uint8_t{0});
    changed_.notify_one();
}

} // namespace audio
