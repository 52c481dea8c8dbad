#include <windows.h>

extern "C" __declspec(dllexport) int WINAPI
    BASS_Init(int /*device*/, DWORD /*frequency*/, DWORD /*flags*/, void* /*window*/,
              const void* /*classId*/) {
    return 1;
}
