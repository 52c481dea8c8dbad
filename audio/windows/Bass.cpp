#include "audio/Bass.h"

#include "audio/Player.h"

#include <algorithm>
#include <string>

#include <windows.h>

namespace {

using audio::Player;

/// Where the library and its extensions are looked for, with a separator at the end, or empty.
/// Nowhere else, so that nothing that a folder or a PATH happens to hold is run.
std::wstring programFolder() {
    constexpr DWORD kLongestPath = 32768;
    std::wstring path(kLongestPath, L'\0');
    path.resize(GetModuleFileNameW(nullptr, path.data(), kLongestPath));
    path.resize(path.find_last_of(L'\\') + 1);
    return path;
}

/// Whether the program has an administrator's rights; true also when it cannot be told.
bool isElevated() {
    HANDLE token = nullptr;
    if (OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token) == 0)
        return true;
    TOKEN_ELEVATION elevation{};
    DWORD size = 0;
    const bool told =
        GetTokenInformation(token, TokenElevation, &elevation, sizeof elevation, &size) != 0;
    CloseHandle(token);
    return !told || elevation.TokenIsElevated != 0;
}

/// What recovered bytes can make the library do, they do with the program's rights, and nobody
/// but its maker can mend it: it is not used with those of an administrator, for whom the decoder
/// process decodes.
HMODULE loadLibrary() {
    const std::wstring folder = programFolder();
    return folder.empty() || isElevated() ? nullptr
                                          : LoadLibraryExW((folder + L"bass.dll").c_str(), nullptr,
                                                           LOAD_WITH_ALTERED_SEARCH_PATH);
}

/// Loaded at the first call and stays; null when it is missing or not to be used.
HMODULE library() {
    static HMODULE const loaded = loadLibrary();
    return loaded;
}

/// An operation of the library's: fails when that lacks it, and is one of the player's when there
/// is no library.
template <typename Result, typename... Arguments>
class Operation {
public:
    using Own = Result (audio::Player::*)(Arguments...);

    explicit Operation(const char* name, Own own, Result failure = 0)
        : function_(library() == nullptr ? nullptr
                                         : reinterpret_cast<Function>(reinterpret_cast<void*>(
                                               GetProcAddress(library(), name)))),
          own_(own), failure_(failure) {}

    Result operator()(Arguments... arguments) const {
        if (library() == nullptr)
            return (audio::Player::get().*own_)(arguments...);
        return function_ == nullptr ? failure_ : function_(arguments...);
    }

private:
    using Function = Result(WINAPI*)(Arguments...);

    Function function_;
    Own own_;
    Result failure_;
};

} // namespace

int BASS_Init(int device, std::uint32_t frequency, std::uint32_t flags, void* window,
              const void* classId) {
    static const Operation<int, int, std::uint32_t, std::uint32_t, void*, const void*> call(
        "BASS_Init", &Player::init);
    return call(device, frequency, flags, window, classId);
}

HPLUGIN BASS_PluginLoad(const void* file, std::uint32_t flags) {
    static const Operation<HPLUGIN, const void*, std::uint32_t> call("BASS_PluginLoad",
                                                                     &Player::loadPlugin);
    std::wstring path = programFolder();
    if ((flags & BASS_UNICODE) == 0 || path.empty())
        return 0;
    path += static_cast<const wchar_t*>(file);
    std::replace(path.begin(), path.end(), L'/', L'\\'); // as Windows' loader wants it
    return call(path.c_str(), flags);
}

HSTREAM BASS_StreamCreateFile(int fromMemory, const void* file, std::uint64_t offset,
                              std::uint64_t length, std::uint32_t flags) {
    static const Operation<HSTREAM, int, const void*, std::uint64_t, std::uint64_t, std::uint32_t>
        call("BASS_StreamCreateFile", &Player::open);
    return call(fromMemory, file, offset, length, flags);
}

int BASS_ChannelPlay(std::uint32_t handle, int restart) {
    static const Operation<int, std::uint32_t, int> call("BASS_ChannelPlay", &Player::play);
    return call(handle, restart);
}

int BASS_ChannelPause(std::uint32_t handle) {
    static const Operation<int, std::uint32_t> call("BASS_ChannelPause", &Player::pause);
    return call(handle);
}

int BASS_ChannelStop(std::uint32_t handle) {
    static const Operation<int, std::uint32_t> call("BASS_ChannelStop", &Player::stop);
    return call(handle);
}

int BASS_ChannelSetPosition(std::uint32_t handle, std::uint64_t position, std::uint32_t mode) {
    static const Operation<int, std::uint32_t, std::uint64_t, std::uint32_t> call(
        "BASS_ChannelSetPosition", &Player::setPosition);
    return call(handle, position, mode);
}

std::uint64_t BASS_ChannelGetPosition(std::uint32_t handle, std::uint32_t mode) {
    static const Operation<std::uint64_t, std::uint32_t, std::uint32_t> call(
        "BASS_ChannelGetPosition", &Player::position, BASS_NO_POSITION);
    return call(handle, mode);
}

std::uint64_t BASS_ChannelGetLength(std::uint32_t handle, std::uint32_t mode) {
    static const Operation<std::uint64_t, std::uint32_t, std::uint32_t> call(
        "BASS_ChannelGetLength", &Player::length, BASS_NO_POSITION);
    return call(handle, mode);
}

int BASS_StreamFree(HSTREAM handle) {
    static const Operation<int, HSTREAM> call("BASS_StreamFree", &Player::close);
    return call(handle);
}

int BASS_PluginFree(HPLUGIN handle) {
    static const Operation<int, HPLUGIN> call("BASS_PluginFree", &Player::freePlugin);
    return call(handle);
}

int BASS_Free() {
    static const Operation<int> call("BASS_Free", &Player::release);
    return call();
}
