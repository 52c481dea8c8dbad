#include "platform/Sandbox.h"

#include "platform/windows/LeastRights.h"
#include "platform/windows/TokenInformation.h"

namespace platform {

namespace {

/// Gives up every privilege of an administrator.
bool removePrivileges(HANDLE token) {
    TokenInformation<TOKEN_PRIVILEGES> held(token, TokenPrivileges);
    if (!held)
        return false;
    for (DWORD i = 0; i < held->PrivilegeCount; ++i)
        held->Privileges[i].Attributes = SE_PRIVILEGE_REMOVED;
    return AdjustTokenPrivileges(token, FALSE, held.get(), 0, nullptr, nullptr) != 0;
}

/// Where no library for windows is loaded, none can be: the part of the kernel behind it is large.
/// What the system does not know of this is left out.
void leaveWindows() {
    PROCESS_MITIGATION_SYSTEM_CALL_DISABLE_POLICY policy{};
    policy.DisallowWin32kSystemCalls = 1;
    if (GetModuleHandleW(L"user32.dll") == nullptr)
        SetProcessMitigationPolicy(ProcessSystemCallDisablePolicy, &policy, sizeof policy);
}

} // namespace

bool enterSandbox() {
    // The job that the process was started in allows no others, and bounds its memory and time.
    // Without the rights that it was lent to start with it could not change its own.
    HANDLE opened = nullptr;
    if (OpenProcessToken(GetCurrentProcess(),
                         TOKEN_QUERY | TOKEN_ADJUST_DEFAULT | TOKEN_ADJUST_PRIVILEGES,
                         &opened) == 0)
        return false;
    const Handle token(opened);
    if (!removePrivileges(token.get()) ||
        !setIntegrity(token.get(), SECURITY_MANDATORY_UNTRUSTED_RID) || RevertToSelf() == 0)
        return false;
    leaveWindows();
    return true;
}

} // namespace platform
