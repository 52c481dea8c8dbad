#pragma once

#include <filesystem>
#include <string>

namespace kova::test {

/// A folder of its own for one test, removed with it.
class TempDir {
public:
    TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;
    ~TempDir();

    [[nodiscard]] const std::filesystem::path& path() const { return path_; }

    [[nodiscard]] std::filesystem::path operator/(const std::string& name) const {
        return path_ / name;
    }

private:
    std::filesystem::path path_;
};

} // namespace kova::test
