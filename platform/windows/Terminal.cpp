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

} // namespace

bool isTerminal(StandardStream stream) {
    const DWORD which = stream == StandardStream::Output ? STD_OUTPUT_HANDLE : STD_ERROR_HANDLE;
    DWORD mode = 0;
    return GetConsoleMode(GetStdHandle(which), &mode) != 0;
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
