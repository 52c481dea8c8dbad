#include "audio/Bass.h"

#include "audio/linux/Channel.h"

#define SDL_MAIN_HANDLED
#include <SDL.h>

#include <algorithm>
#include <map>
#include <memory>
#include <mutex>
#include <span>
#include <utility>
#include <vector>

namespace {

using audio::Channel;

constexpr int kDefaultDevice = -1;
constexpr Uint16 kProbedFrames = 1024;
constexpr Uint8 kProbedChannels = 2;

/// The device and the channels, by handle.
class Library {
public:
    Library() = default;
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;

    ~Library() { release(); }

    bool init(std::uint32_t frequency) {
        const std::lock_guard lock(mutex_);
        if (initialised_)
            return false;
        // Interruptions are the program's own affair.
        SDL_SetHint(SDL_HINT_NO_SIGNAL_HANDLERS, "1");
        SDL_SetHint(SDL_HINT_AUDIO_DEVICE_APP_NAME, "Orvane");
        if (SDL_InitSubSystem(SDL_INIT_AUDIO) != 0)
            return false;
        // Only opening tells whether there is a device at all. It is kept for no longer: each
        // channel opens one at its own rate while it plays.
        SDL_AudioSpec wanted{};
        wanted.freq = static_cast<int>(std::clamp(frequency, 8000U, 192000U));
        wanted.format = AUDIO_S16SYS;
        wanted.channels = kProbedChannels;
        wanted.samples = kProbedFrames;
        const SDL_AudioDeviceID device = SDL_OpenAudioDevice(nullptr, 0, &wanted, nullptr, 0);
        if (device == 0) {
            SDL_QuitSubSystem(SDL_INIT_AUDIO);
            return false;
        }
        SDL_CloseAudioDevice(device);
        initialised_ = true;
        return true;
    }

    HSTREAM open(std::span<const std::uint8_t> file) {
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

    bool close(HSTREAM handle) {
        const std::lock_guard lock(mutex_);
        const auto found = channels_.find(handle);
        if (found == channels_.end())
            return false;
        found->second->close();
        // Leaving the device takes longer than the caller has.
        closed_.push_back(std::move(found->second));
        channels_.erase(found);
        return true;
    }

    /// What `action` returns for the channel, or `failure` when there is none of that handle.
    template <class Result, class Action>
    Result with(HSTREAM handle, Result failure, Action action) {
        const std::lock_guard lock(mutex_);
        const auto found = channels_.find(handle);
        return found == channels_.end() ? failure : static_cast<Result>(action(*found->second));
    }

    bool release() {
        const std::lock_guard lock(mutex_);
        if (!std::exchange(initialised_, false))
            return false;
        channels_.clear();
        closed_.clear();
        SDL_QuitSubSystem(SDL_INIT_AUDIO);
        return true;
    }

private:
    std::mutex mutex_;
    bool initialised_ = false;
    HSTREAM lastHandle_ = 0;
    std::map<HSTREAM, std::unique_ptr<Channel>> channels_;
    std::vector<std::unique_ptr<Channel>> closed_;
};

Library& library() {
    static Library instance;
    return instance;
}

} // namespace

int BASS_Init(int device, std::uint32_t frequency, std::uint32_t flags, void* window,
              const void* classId) {
    const bool known =
        device == kDefaultDevice && flags == 0 && window == nullptr && classId == nullptr;
    return known && library().init(frequency) ? 1 : 0;
}

HPLUGIN BASS_PluginLoad(const void* /*file*/, std::uint32_t /*flags*/) {
    return 0; // every known format is built in
}

HSTREAM BASS_StreamCreateFile(int fromMemory, const void* file, std::uint64_t offset,
                              std::uint64_t length, std::uint32_t flags) {
    if (fromMemory == 0 || file == nullptr || length == 0 || flags != 0)
        return 0;
    const auto* bytes = static_cast<const std::uint8_t*>(file);
    return library().open({bytes + offset, static_cast<std::size_t>(length)});
}

int BASS_ChannelPlay(std::uint32_t handle, int restart) {
    return library().with(handle, 0, [&](Channel& channel) {
        channel.play(restart != 0);
        return true;
    });
}

int BASS_ChannelPause(std::uint32_t handle) {
    return library().with(handle, 0, [](Channel& channel) { return channel.pause(); });
}

int BASS_ChannelStop(std::uint32_t handle) {
    return library().with(handle, 0, [](Channel& channel) {
        channel.pause();
        return true;
    });
}

int BASS_ChannelSetPosition(std::uint32_t handle, std::uint64_t position, std::uint32_t mode) {
    return library().with(handle, 0, [&](Channel& channel) {
        return mode == BASS_POS_BYTE && channel.setPosition(position);
    });
}

std::uint64_t BASS_ChannelGetPosition(std::uint32_t handle, std::uint32_t mode) {
    return library().with(handle, BASS_NO_POSITION, [&](const Channel& channel) {
        return mode == BASS_POS_BYTE ? channel.position() : BASS_NO_POSITION;
    });
}

std::uint64_t BASS_ChannelGetLength(std::uint32_t handle, std::uint32_t mode) {
    return library().with(handle, BASS_NO_POSITION, [&](const Channel& channel) {
        return mode == BASS_POS_BYTE ? channel.length() : BASS_NO_POSITION;
    });
}

int BASS_StreamFree(HSTREAM handle) {
    return library().close(handle) ? 1 : 0;
}

int BASS_PluginFree(HPLUGIN /*handle*/) {
    return 0;
}

int BASS_Free() {
    return library().release() ? 1 : 0;
}
