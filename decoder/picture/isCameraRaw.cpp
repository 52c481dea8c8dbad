#include "decoder/picture/isCameraRaw.h"

#include <cstddef>

namespace picture {

namespace {

constexpr std::size_t kDirectoryAt = 4; // 32 bits: the offset of the first directory
constexpr std::size_t kEntryBytes = 12; // after a count of 16 bits; each begins with its tag
constexpr std::uint32_t kMakeTag = 271;
constexpr std::uint32_t kDngVersionTag = 50706;

/// A number of `bytes` at `offset`; 0 beyond the file's end.
std::uint32_t load(std::span<const std::uint8_t> file, std::uint64_t offset, std::size_t bytes,
                   bool bigEndian) {
    if (offset > file.size() || file.size() - offset < bytes)
        return 0;
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < bytes; ++i)
        value =
            (value << 8) | file[static_cast<std::size_t>(offset) + (bigEndian ? i : bytes - 1 - i)];
    return value;
}

} // namespace

bool isCameraRaw(std::span<const std::uint8_t> file) {
    const bool bigEndian = !file.empty() && file[0] == 'M';
    const std::uint64_t directory = load(file, kDirectoryAt, 4, bigEndian);
    const std::uint32_t count = load(file, directory, 2, bigEndian);
    for (std::uint32_t i = 0; i < count; ++i) {
        const std::uint32_t tag = load(file, directory + 2 + i * kEntryBytes, 2, bigEndian);
        if (tag == kMakeTag || tag == kDngVersionTag)
            return true;
    }
    return false;
}

} // namespace picture
