#include "audio/Output.h"

#include <array>
#include <cstddef>
#include <thread>
#include <utility>
#include <vector>

#include <windows.h>

#include <mmsystem.h>

namespace audio {

namespace {

// Four turns of a fiftieth of a second are under way, so that it falls silent about that soon.
constexpr std::size_t kTurns = 4;
constexpr std::uint32_t kTurnsPerSecond = 50;

/// The system converts to the device's own rate.
class WaveOutput : public Output {
public:
    WaveOutput(const decoder::SoundFormat& format, Fill fill)
        : fill_(std::move(fill)), played_(CreateEventW(nullptr, FALSE, FALSE, nullptr)) {
        WAVEFORMATEX wanted{};
        wanted.wFormatTag = WAVE_FORMAT_PCM;
        wanted.nChannels = static_cast<WORD>(format.channels);
        wanted.nSamplesPerSec = format.rate;
        wanted.wBitsPerSample = decoder::kSampleBytes * 8;
        wanted.nBlockAlign = static_cast<WORD>(format.channels * decoder::kSampleBytes);
        wanted.nAvgBytesPerSec = format.rate * wanted.nBlockAlign;
        if (played_ == nullptr ||
            waveOutOpen(&device_, WAVE_MAPPER, &wanted, reinterpret_cast<DWORD_PTR>(played_), 0,
                        CALLBACK_EVENT) != MMSYSERR_NOERROR) {
            device_ = nullptr;
            return;
        }
        const std::size_t frames = format.rate / kTurnsPerSecond + 1;
        for (Turn& turn : turns_)
            turn.samples.resize(frames * wanted.nBlockAlign);
        thread_ = std::jthread([this](const std::stop_token& stop) { run(stop); });
    }

    WaveOutput(const WaveOutput&) = delete;
    WaveOutput& operator=(const WaveOutput&) = delete;

    ~WaveOutput() override {
        if (thread_.joinable()) {
            thread_.request_stop();
            SetEvent(played_);
            thread_.join();
        }
        if (device_ != nullptr) {
            waveOutReset(device_); // gives every turn back
            for (Turn& turn : turns_)
                waveOutUnprepareHeader(device_, &turn.header, sizeof turn.header);
            waveOutClose(device_);
        }
        if (played_ != nullptr)
            CloseHandle(played_);
    }

    [[nodiscard]] bool isOpen() const { return device_ != nullptr; }

private:
    struct Turn {
        std::vector<std::uint8_t> samples;
        WAVEHDR header{};
    };

    /// Keeps every turn under way. What the device does not take, as when it is pulled out, is
    /// heard by nobody, but goes by as if it were.
    void run(const std::stop_token& stop) {
        for (Turn& turn : turns_) {
            turn.header.lpData = reinterpret_cast<LPSTR>(turn.samples.data());
            turn.header.dwBufferLength = static_cast<DWORD>(turn.samples.size());
            waveOutPrepareHeader(device_, &turn.header, sizeof turn.header);
        }
        for (std::size_t next = 0; !stop.stop_requested(); next = (next + 1) % kTurns) {
            Turn& turn = turns_[next];
            while ((turn.header.dwFlags & WHDR_INQUEUE) != 0 && !stop.stop_requested())
                WaitForSingleObject(played_, INFINITE);
            if (stop.stop_requested())
                return;
            fill_(turn.samples);
            if (waveOutWrite(device_, &turn.header, sizeof turn.header) != MMSYSERR_NOERROR)
                WaitForSingleObject(played_, 1000 / kTurnsPerSecond);
        }
    }

    Fill fill_;
    HANDLE played_;
    HWAVEOUT device_ = nullptr;
    std::array<Turn, kTurns> turns_;
    std::jthread thread_;
};

} // namespace

bool takeSystemSound(std::uint32_t /*frequency*/) {
    return waveOutGetNumDevs() > 0;
}

void releaseSystemSound() {}

std::unique_ptr<Output> openOutput(const decoder::SoundFormat& format, Output::Fill fill) {
    auto output = std::make_unique<WaveOutput>(format, std::move(fill));
    return output->isOpen() ? std::move(output) : nullptr;
}

} // namespace audio
