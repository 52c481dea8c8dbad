#include "platform/Sandbox.h"

#include "platform/windows/Win32.h"

#include <array>

namespace platform {

namespace {

constexpr std::size_t kMostPrivileges = 128;

/// Gives up every privilege of an administrator.
bool removePrivileges(HANDLE token) {
    struct {
        TOKEN_PRIVILEGES list;
        std::array<LUID_AND_ATTRIBUTES, kMostPrivileges> more;
    } held{};

    DWORD size = 0;
    if (GetTokenInformation(token, TokenPrivileges, &held, sizeof held, &size) == 0)
        return false;
    for (DWORD i = 0; i < held.list.PrivilegeCount; ++i)
        held.list.Privileges[i].Attributes = SE_PRIVILEGE_REMOVED;
    return AdjustTokenPrivileges(token, FALSE, &held.list, 0, nullptr, nullptr) != 0;
}

/// From then on nothing that an ordinary program owns can be written to.
bool lowerIntegrity(HANDLE token) {
    SID_IDENTIFIER_AUTHORITY authority = SECURITY_MANDATORY_LABEL_AUTHORITY;
    PSID untrusted = nullptr;
    if (AllocateAndInitializeSid(&authority, 1, SECURITY_MANDATORY_UNTRUSTED_RID, 0, 0, 0, 0, 0, 0,
                                 0, &untrusted) == 0)
        return false;
    TOKEN_MANDATORY_LABEL label{};
    label.Label.Attributes = SE_GROUP_INTEGRITY;
    label.Label.Sid = untrusted;
    const bool lowered = SetTokenInformation(token, TokenIntegrityLevel, &label,
                                             sizeof label + GetLengthSid(untrusted)) != 0;
    FreeSid(untrusted);
    return lowered;
}

} // namespace

bool enterSandbox() {
    // The job that the process was started in allows no others, and bounds its memory and time.
    HANDLE opened = nullptr;
    if (OpenProcessToken(GetCurrentProcess(),
                         TOKEN_QUERY | TOKEN_ADJUST_DEFAULT | TOKEN_ADJUST_PRIVILEGES,
                         &opened) == 0)
        return false;
    const Handle token(opened);
    return removePrivileges(token.get()) && lowerIntegrity(token.get());
}

} // namespace platform
