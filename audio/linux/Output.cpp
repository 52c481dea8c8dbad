#include "audio/Output.h"

#define SDL_MAIN_HANDLED
#include <SDL.h>

#include <algorithm>
#include <bit>
#include <utility>

namespace audio {

namespace {

constexpr Uint16 kProbedFrames = 1024;
constexpr Uint8 kProbedChannels = 2;

// The device asks for a fiftieth of a second at a time, so that it falls silent that soon.
constexpr std::uint32_t kDeviceTurnsPerSecond = 50;
constexpr std::uint32_t kLeastDeviceFrames = 256;
constexpr std::uint32_t kMostDeviceFrames = 16384;

class SdlOutput : public Output {
public:
    SdlOutput(const decoder::SoundFormat& format, Fill fill) : fill_(std::move(fill)) {
        SDL_AudioSpec wanted{};
        wanted.freq = static_cast<int>(format.rate);
        wanted.format = AUDIO_S16SYS;
        wanted.channels = static_cast<Uint8>(format.channels);
        wanted.samples =
            static_cast<Uint16>(std::clamp(std::bit_ceil(format.rate / kDeviceTurnsPerSecond),
                                           kLeastDeviceFrames, kMostDeviceFrames));
        wanted.userdata = this;
        wanted.callback = [](void* user, Uint8* samples, int count) {
            static_cast<SdlOutput*>(user)->fill_({samples, static_cast<std::size_t>(count)});
        };
        id_ = SDL_OpenAudioDevice(nullptr, 0, &wanted, nullptr, 0);
        if (id_ != 0)
            SDL_PauseAudioDevice(id_, 0);
    }

    SdlOutput(const SdlOutput&) = delete;
    SdlOutput& operator=(const SdlOutput&) = delete;

    ~SdlOutput() override {
        if (id_ != 0)
            SDL_CloseAudioDevice(id_);
        SDL_TLSCleanup(); // What SDL keeps for a thread it has not started itself.
    }

    [[nodiscard]] bool isOpen() const { return id_ != 0; }

private:
    Fill fill_;
    SDL_AudioDeviceID id_ = 0;
};

} // namespace

bool takeSystemSound(std::uint32_t frequency) {
    // Interruptions are the program's own affair.
    SDL_SetHint(SDL_HINT_NO_SIGNAL_HANDLERS, "1");
    SDL_SetHint(SDL_HINT_AUDIO_DEVICE_APP_NAME, "Orvane");
    if (SDL_InitSubSystem(SDL_INIT_AUDIO) != 0)
        return false;
    // Only opening tells whether there is a device at all. It is kept for no longer: each channel
    // opens one at its own rate while it plays.
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
    return true;
}

void releaseSystemSound() {
    SDL_QuitSubSystem(SDL_INIT_AUDIO);
}

std::unique_ptr<Output> openOutput(const decoder::SoundFormat& format, Output::Fill fill) {
    auto output = std::make_unique<SdlOutput>(format, std::move(fill));
    return output->isOpen() ? std::move(output) : nullptr;
}

} // namespace audio
