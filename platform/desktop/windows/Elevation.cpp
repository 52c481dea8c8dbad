#include "platform/desktop/Elevation.h"

#include <string>

#include <windows.h>

#include <objbase.h>
#include <shellapi.h>

bool isAdmin() {
    SID_IDENTIFIER_AUTHORITY authority = SECURITY_NT_AUTHORITY;
    PSID administrators = nullptr;
    if (AllocateAndInitializeSid(&authority, 2, SECURITY_BUILTIN_DOMAIN_RID,
                                 DOMAIN_ALIAS_RID_ADMINS, 0, 0, 0, 0, 0, 0, &administrators) == 0)
        return false;
    BOOL member = FALSE; // Stays so when the call fails.
    CheckTokenMembership(nullptr, administrators, &member);
    FreeSid(administrators);
    return member != FALSE;
}

bool relaunchElevated(const QString& program, const QString& argument) {
    const std::wstring file = program.toStdWString();
    const std::wstring parameters = argument.toStdWString();
    SHELLEXECUTEINFOW launch{};
    launch.cbSize = sizeof launch;
    launch.lpVerb = L"runas";
    launch.lpFile = file.c_str();
    launch.lpParameters = parameters.c_str();
    launch.nShow = SW_SHOWNORMAL;
    return ShellExecuteExW(&launch) != FALSE;
}

void showMessageBeforeWindows(const QString& text, const QString& caption) {
    MessageBoxW(nullptr, text.toStdWString().c_str(), caption.toStdWString().c_str(),
                MB_ICONINFORMATION | MB_SYSTEMMODAL);
}

void initialiseCom() {
    CoInitialize(nullptr);
}
