#include "tests/support/Shell.h"

#include <cstdlib>

namespace kova::test {

int runInShell(const std::string& command) {
    const std::string line = "PATH=$PATH:/usr/sbin:/sbin; { " + command + "\n} >/dev/null 2>&1";
    return std::system(line.c_str()); // NOLINT(cert-env33-c): a test's own words
}

std::string forShell(const std::filesystem::path& path) {
    return "'" + path.string() + "'";
}

} // namespace kova::test
