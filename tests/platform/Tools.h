#pragma once

#include "tests/support/Shell.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace platform::test {

/// The path as the platform layer takes it.
inline std::wstring wide(const std::filesystem::path& path) {
    return path.wstring();
}

using kova::test::forShell;

/// Runs a shell command, silently; whether it succeeded.
inline bool succeeds(const std::string& command) {
    return kova::test::runInShell(command) == 0;
}

/// Runs a tool that the tests depend on.
inline void run(const std::string& command) {
    if (!succeeds(command))
        throw std::runtime_error("failed: " + command);
}

/// Windows tells the labels of mounted volumes only; an image without one goes by its file's name.
inline constexpr bool kImagesHaveLabels = std::filesystem::path::preferred_separator == '/';

/// Makes an empty file of `bytes` bytes, which takes no room.
inline void makeFile(const std::filesystem::path& path, std::uintmax_t bytes) {
    std::ofstream(path).close();
    std::filesystem::resize_file(path, bytes);
}

inline void makeNtfs(const std::filesystem::path& path, std::uintmax_t bytes,
                     const std::string& options = "") {
    makeFile(path, bytes);
    run("mkntfs -q -F -Q " + options + " " + forShell(path));
}

inline void makeFat(const std::filesystem::path& path, std::uintmax_t bytes,
                    const std::string& options = "") {
    makeFile(path, bytes);
    run("mkfs.fat " + options + " " + forShell(path));
}

/// Copies a file's content over part of another.
inline void copyInto(const std::filesystem::path& disk, std::uint64_t offset,
                     const std::filesystem::path& volume) {
    run("dd if=" + forShell(volume) + " of=" + forShell(disk) +
        " bs=1M oflag=seek_bytes conv=notrunc,sparse seek=" + std::to_string(offset));
}

inline void overwrite(const std::filesystem::path& path, std::uint64_t offset,
                      const std::vector<std::uint8_t>& bytes) {
    std::fstream file(path, std::ios::binary | std::ios::in | std::ios::out);
    file.seekp(static_cast<std::streamoff>(offset));
    for (const std::uint8_t byte : bytes)
        file.put(static_cast<char>(byte));
}

inline std::string contentOf(const std::filesystem::path& path) {
    std::string content(std::filesystem::file_size(path), '\0');
    std::ifstream(path, std::ios::binary)
        .read(content.data(), static_cast<std::streamsize>(content.size()));
    return content;
}

} // namespace platform::test
