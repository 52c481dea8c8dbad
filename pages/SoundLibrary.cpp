#include "pages/SoundLibrary.h"

namespace {

constexpr int kDefaultDevice = -1;
constexpr std::uint32_t kFrequency = 44100;

constexpr const wchar_t* kPluginFiles[] = {
    L"soundformats/bassflac.dll", L"soundformats/basswma.dll", L"soundformats/bass_aac.dll"};

} // namespace

SoundLibrary::SoundLibrary()
    : initialised(BASS_Init(kDefaultDevice, kFrequency, 0, nullptr, nullptr) != 0) {}

SoundLibrary::~SoundLibrary() {
    if (!initialised)
        return;
    initialised = BASS_Free() == 0;
    for (const HPLUGIN plugin : plugins)
        BASS_PluginFree(plugin);
}

void SoundLibrary::loadPlugins() {
    for (const wchar_t* file : kPluginFiles) {
        if (const HPLUGIN plugin = BASS_PluginLoad(file, BASS_UNICODE))
            plugins.push_back(plugin);
    }
}
