#include "platform/Terminal.h"

#include <cstdlib>

#include <windows.h>

namespace platform {

namespace {

std::atomic<std::atomic<bool>*> interruptFlag{nullptr};
std::atomic<bool> interruptedBefore{false};
UINT codePageBefore = 0;

BOOL WINAPI onConsoleEvent(DWORD event) {
    if (interruptedBefore.exchange(true))
        return FALSE; // the next handler ends the process
    interruptFlag.load()->store(true);
    // When the window closes or the user logs off, the process ends as soon as this returns; the
    // system waits some seconds, which the program uses to stop cleanly.
    if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT)
        Sleep(INFINITE);
    return TRUE;
}

HANDLE handleOf(StandardStream stream) {
    return GetStdHandle(stream == StandardStream::Output ? STD_OUTPUT_HANDLE : STD_ERROR_HANDLE);
}

} // namespace

bool isTerminal(StandardStream stream) {
    DWORD mode = 0;
    return GetConsoleMode(handleOf(stream), &mode) != 0;
}

bool isConnected(StandardStream stream) {
    return GetFileType(handleOf(stream)) != FILE_TYPE_UNKNOWN;
}

void useUtf8Terminal() {
    if (codePageBefore != 0)
        return;
    codePageBefore = GetConsoleOutputCP();
    if (codePageBefore != 0 && SetConsoleOutputCP(CP_UTF8) != 0)
        std::atexit([] { SetConsoleOutputCP(codePageBefore); });
}

void onInterrupt(std::atomic<bool>& flag) {
    interruptFlag.store(&flag);
    SetConsoleCtrlHandler(onConsoleEvent, TRUE);
}

} // namespace platform
