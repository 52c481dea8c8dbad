#pragma once

#include "audio/Bass.h"
#include "audio/Channel.h"

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <span>
#include <vector>

namespace audio {

/// The system's sound and the channels on it, by handle: what the operations of audio/Bass.h do
/// where they are done here. They mean and return what is said there.
class Player {
public:
    /// The one there is.
    static Player& get();

    Player(const Player&) = delete;
    Player& operator=(const Player&) = delete;
    ~Player();

    int init(int device, std::uint32_t frequency, std::uint32_t flags, void* window,
             const void* classId);

    /// Every known format is built in.
    HPLUGIN loadPlugin(const void* /*file*/, std::uint32_t /*flags*/) { return 0; }

    int freePlugin(HPLUGIN /*handle*/) { return 0; }

    HSTREAM open(int fromMemory, const void* file, std::uint64_t offset, std::uint64_t length,
                 std::uint32_t flags);
    int play(HSTREAM handle, int restart);
    int pause(HSTREAM handle);
    int stop(HSTREAM handle);
    int setPosition(HSTREAM handle, std::uint64_t position, std::uint32_t mode);
    std::uint64_t position(HSTREAM handle, std::uint32_t mode);
    std::uint64_t length(HSTREAM handle, std::uint32_t mode);
    int close(HSTREAM handle);
    int release();

private:
    Player() = default;

    HSTREAM openFile(std::span<const std::uint8_t> file);

    /// What `action` returns for the channel, or `failure` when there is none of that handle.
    template <class Result, class Action>
    Result with(HSTREAM handle, Result failure, Action action) {
        const std::lock_guard lock(mutex_);
        const auto found = channels_.find(handle);
        return found == channels_.end() ? failure : static_cast<Result>(action(*found->second));
    }

    std::mutex mutex_;
    bool initialised_ = false;
    HSTREAM lastHandle_ = 0;
    std::map<HSTREAM, std::unique_ptr<Channel>> channels_;
    std::vector<std::unique_ptr<Channel>> closed_;
};

} // namespace audio
