#pragma once

#include "audio/Output.h"
#include "decoder/sound/RemoteSound.h"

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <span>
#include <thread>
#include <vector>

namespace audio {

/// One sound and its way to the device. A thread of its own has the sound decoded a little ahead
/// and opens and closes the device, so that no call waits for either; any thread may call. The
/// system's sound must be taken while a channel lives.
class Channel {
public:
    /// Null when `file` is no sound that can be decoded. Waits for the decoder, at most 3 seconds.
    static std::unique_ptr<Channel> open(std::span<const std::uint8_t> file);

    Channel(const Channel&) = delete;
    Channel& operator=(const Channel&) = delete;
    /// Waits until the device is released.
    ~Channel();

    /// Silent at once, and never again otherwise. Does not wait.
    void close();

    /// Whether destruction does not have to wait any more after `close`.
    [[nodiscard]] bool isOver() const { return over_; }

    /// Plays on, from the start if `restart` or at the end.
    void play(bool restart);

    /// Whether it was playing.
    bool pause();

    /// False beyond the end. `position` is rounded down to a whole frame.
    bool setPosition(std::uint64_t position);

    [[nodiscard]] std::uint64_t position() const;

    [[nodiscard]] std::uint64_t length() const { return decoder_->format().length; }

private:
    explicit Channel(std::unique_ptr<sound::RemoteSound> decoder);

    /// What the thread does until `closing_`.
    void run();
    /// Opens or closes the device as `playing_` wants it. `lock` is released meanwhile.
    void follow(std::unique_lock<std::mutex>& lock);
    void fetch(std::unique_lock<std::mutex>& lock);
    /// Gives the device the next samples, and silence for want of any.
    void hand(std::span<std::uint8_t> samples);
    /// Forgets what is ahead, and goes on from `position`.
    void moveTo(std::uint64_t position);

    [[nodiscard]] bool hasRoom() const;

    const std::unique_ptr<sound::RemoteSound> decoder_;
    /// Of the thread only.
    std::unique_ptr<Output> device_;
    std::vector<std::uint8_t> piece_;

    mutable std::mutex mutex_;
    std::condition_variable changed_;
    // All below is guarded by the mutex.
    bool closing_ = false;
    bool playing_ = false;
    /// The decoder gives nothing more.
    bool failed_ = false;
    /// Bytes of the sound that the device has been given, and those fetched for it.
    std::uint64_t position_ = 0;
    std::uint64_t fetched_ = 0;
    /// Counts the moves, so that what was fetched for an earlier place is known.
    std::uint64_t moves_ = 0;
    /// The bytes from `position_` to `fetched_`, a ring whose first byte is at `first_`.
    std::vector<std::uint8_t> ahead_;
    std::size_t first_ = 0;

    std::atomic<bool> over_ = false;
    std::thread thread_;
};

} // namespace audio
