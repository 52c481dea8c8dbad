#include <windows.h>

extern "C" __declspec(dllexport) DWORD WINAPI
    BASS_PluginLoad(const void* /*file*/, DWORD /*flags*/) {
    return 1;
}
