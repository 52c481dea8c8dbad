#include "tests/support/TempDir.h"

#include <random>
#include <system_error>

namespace kova::test {

TempDir::TempDir() {
    std::random_device random;
    do {
        path_ = std::filesystem::temp_directory_path() / ("orvane-" + std::to_string(random()));
    } while (!std::filesystem::create_directory(path_));
}

TempDir::~TempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

} // namespace kova::test
