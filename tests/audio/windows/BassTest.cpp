// Whether the closed library is used; a library of ours that always succeeds lies in its place.

#include "audio/Bass.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include <windows.h>

namespace {

constexpr const wchar_t* kIsChild = L"ORVANE_TEST_IS_CHILD";

/// Runs this test again with the rights of `token`; whether the library loads an extension there.
int loadsAs(HANDLE token) {
    std::wstring command = GetCommandLineW();
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION child{};
    SetEnvironmentVariableW(kIsChild, L"1");
    if (CreateProcessAsUserW(token, nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr,
                             nullptr, &startup, &child) == 0)
        return -1;
    DWORD code = 0;
    WaitForSingleObject(child.hProcess, INFINITE);
    GetExitCodeProcess(child.hProcess, &code);
    CloseHandle(child.hThread);
    CloseHandle(child.hProcess);
    return static_cast<int>(code);
}

TEST(Bass, IsNotThereForAnAdministrator) {
    if (GetEnvironmentVariableW(kIsChild, nullptr, 0) != 0)
        std::exit(static_cast<int>(BASS_PluginLoad(L"any.dll", BASS_UNICODE)));
    HANDLE administrators = nullptr;
    ASSERT_NE(OpenProcessToken(GetCurrentProcess(), MAXIMUM_ALLOWED, &administrators), 0);
    TOKEN_LINKED_TOKEN linked{};
    DWORD size = 0;
    HANDLE ordinary = nullptr;
    if (GetTokenInformation(administrators, TokenLinkedToken, &linked, sizeof linked, &size) == 0 ||
        DuplicateTokenEx(linked.LinkedToken, MAXIMUM_ALLOWED, nullptr, SecurityImpersonation,
                         TokenPrimary, &ordinary) == 0)
        GTEST_SKIP() << "the tests do not run as an administrator";
    EXPECT_EQ(loadsAs(administrators), 0);
    EXPECT_EQ(loadsAs(ordinary), 1);
}

} // namespace
