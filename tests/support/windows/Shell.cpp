#include "tests/support/Shell.h"

#include "tests/support/TempDir.h"

#include <fstream>

#include <windows.h>

namespace kova::test {

namespace {

constexpr int kPatienceMilliseconds = 60'000;
constexpr int kStepMilliseconds = 2;

/// Wine's own word for the path that a path leads to; empty without Wine.
std::string pathBelow(const std::filesystem::path& path) {
    using Translate = char*(CDECL*)(LPCWSTR);
    const auto translate = reinterpret_cast<Translate>(reinterpret_cast<void*>(
        GetProcAddress(GetModuleHandleW(L"kernel32.dll"), "wine_get_unix_file_name")));
    char* const below = translate == nullptr ? nullptr : translate(path.c_str());
    std::string text = below == nullptr ? "" : below;
    HeapFree(GetProcessHeap(), 0, below);
    return text;
}

} // namespace

int runInShell(const std::string& command) {
    const TempDir folder;
    const auto status = folder / "status";
    const std::string script = forShell(folder / "script");
    std::ofstream(folder / "script", std::ios::binary)
        << "PATH=$PATH:/usr/sbin:/sbin\n( " << command << "\n) >/dev/null 2>&1\necho $? >"
        << forShell(folder / "code") << "\nmv " << forShell(folder / "code") << ' '
        << forShell(status) << '\n';

    std::wstring line = L"sh \"" + std::wstring(script.begin() + 1, script.end() - 1) + L"\"";
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process{};
    if (script.size() <= 2 || CreateProcessW(L"Z:\\bin\\sh", line.data(), nullptr, nullptr, FALSE,
                                             0, nullptr, nullptr, &startup, &process) == 0)
        return -1;
    // What is started outside Wine cannot be waited for, so it says itself when it is done.
    for (int waited = 0; waited < kPatienceMilliseconds; waited += kStepMilliseconds) {
        if (int code = 0; std::ifstream(status) >> code)
            return code;
        Sleep(kStepMilliseconds);
    }
    return -1;
}

std::string forShell(const std::filesystem::path& path) {
    return "'" + pathBelow(path) + "'";
}

} // namespace kova::test
