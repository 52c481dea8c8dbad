#include "audio/Bass.h"

#include "audio/Player.h"

using audio::Player;

int BASS_Init(int device, std::uint32_t frequency, std::uint32_t flags, void* window,
              const void* classId) {
    return Player::get().init(device, frequency, flags, window, classId);
}

HPLUGIN BASS_PluginLoad(const void* file, std::uint32_t flags) {
    return Player::get().loadPlugin(file, flags);
}

HSTREAM BASS_StreamCreateFile(int fromMemory, const void* file, std::uint64_t offset,
                              std::uint64_t length, std::uint32_t flags) {
    return Player::get().open(fromMemory, file, offset, length, flags);
}

int BASS_ChannelPlay(std::uint32_t handle, int restart) {
    return Player::get().play(handle, restart);
}

int BASS_ChannelPause(std::uint32_t handle) {
    return Player::get().pause(handle);
}

int BASS_ChannelStop(std::uint32_t handle) {
    return Player::get().stop(handle);
}

int BASS_ChannelSetPosition(std::uint32_t handle, std::uint64_t position, std::uint32_t mode) {
    return Player::get().setPosition(handle, position, mode);
}

std::uint64_t BASS_ChannelGetPosition(std::uint32_t handle, std::uint32_t mode) {
    return Player::get().position(handle, mode);
}

std::uint64_t BASS_ChannelGetLength(std::uint32_t handle, std::uint32_t mode) {
    return Player::get().length(handle, mode);
}

int BASS_StreamFree(HSTREAM handle) {
    return Player::get().close(handle);
}

int BASS_PluginFree(HPLUGIN handle) {
    return Player::get().freePlugin(handle);
}

int BASS_Free() {
    return Player::get().release();
}
