#include "audio/Player.h"

#include "audio/Output.h"

#include <utility>

namespace audio {

namespace {

constexpr int kDefaultDevice = -1;

} // namespace

Player& Player::get() {
    static Player instance;
    return instance;
}

Player::~Player() {
    release();
}

int Player::init(int device, std::uint32_t frequency, std::uint32_t flags, void* window,
                 const void* classId) {
    const bool known =
        device == kDefaultDevice && flags == 0 && window == nullptr && classId == nullptr;
    const std::lock_guard lock(mutex_);
    if (!known || initialised_ || !takeSystemSound(frequency))
        return 0;
    initialised_ = true;
    return 1;
}

HSTREAM Player::open(int fromMemory, const void* file, std::uint64_t offset, std::uint64_t length,
                     std::uint32_t flags) {
    if (fromMemory == 0 || file == nullptr || length == 0 || flags != 0)
        return 0;
    const auto* bytes = static_cast<const std::uint8_t*>(file);
    return openFile({bytes + offset, static_cast<std::size_t>(length)});
}

HSTREAM Player::openFile(std::span<const std::uint8_t> file) {
    {
        const std::lock_guard lock(mutex_);
        std::erase_if(closed_, [](const auto& channel) { return channel->isOver(); });
        if (!initialised_)
            return 0;
    }
    // Takes time, and other channels play meanwhile.
    std::unique_ptr<Channel> channel = Channel::open(file);
    const std::lock_guard lock(mutex_);
    if (!channel || !initialised_)
        return 0;
    if (++lastHandle_ == 0)
        ++lastHandle_;
    channels_[lastHandle_] = std::move(channel);
    return lastHandle_;
}

int Player::play(HSTREAM handle, int restart) {
    return with(handle, 0, [&](Channel& channel) {
        channel.play(restart != 0);
        return true;
    });
}

int Player::pause(HSTREAM handle) {
    return with(handle, 0, [](Channel& channel) { return channel.pause(); });
}

int Player::stop(HSTREAM handle) {
    return with(handle, 0, [](Channel& channel) {
        channel.pause();
        return true;
    });
}

int Player::setPosition(HSTREAM handle, std::uint64_t position, std::uint32_t mode) {
    return with(handle, 0, [&](Channel& channel) {
        return mode == BASS_POS_BYTE && channel.setPosition(position);
    });
}

std::uint64_t Player::position(HSTREAM handle, std::uint32_t mode) {
    return with(handle, BASS_NO_POSITION, [&](const Channel& channel) {
        return mode == BASS_POS_BYTE ? channel.position() : BASS_NO_POSITION;
    });
}

std::uint64_t Player::length(HSTREAM handle, std::uint32_t mode) {
    return with(handle, BASS_NO_POSITION, [&](const Channel& channel) {
        return mode == BASS_POS_BYTE ? channel.length() : BASS_NO_POSITION;
    });
}

int Player::close(HSTREAM handle) {
    const std::lock_guard lock(mutex_);
    const auto found = channels_.find(handle);
    if (found == channels_.end())
        return 0;
    found->second->close();
    // Leaving the device takes longer than the caller has.
    closed_.push_back(std::move(found->second));
    channels_.erase(found);
    return 1;
}

int Player::release() {
    const std::lock_guard lock(mutex_);
    if (!std::exchange(initialised_, false))
        return 0;
    channels_.clear();
    closed_.clear();
    releaseSystemSound();
    return 1;
}

} // namespace audio
