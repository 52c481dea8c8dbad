#pragma once

#include <filesystem>
#include <string>

namespace kova::test {

/// Runs a command of the POSIX shell, silently; its exit status, not 0 either when there is no
/// such shell. Under Wine it is the shell of the system below.
int runInShell(const std::string& command);

/// The path as that shell knows it, quoted.
[[nodiscard]] std::string forShell(const std::filesystem::path& path);

} // namespace kova::test
