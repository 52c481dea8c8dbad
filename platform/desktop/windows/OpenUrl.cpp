#include "platform/desktop/OpenUrl.h"

#include <windows.h>

#include <shellapi.h>

void openUrl(const QString& url) {
    ShellExecuteW(nullptr, L"open", url.toStdWString().c_str(), nullptr, nullptr, SW_SHOWNORMAL);
}
