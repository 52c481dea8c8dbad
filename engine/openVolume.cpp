#include "engine/openVolume.h"

#include "engine/fat/ZFatVolume.h"
#include "engine/ntfs/ZNtfsVolume.h"
#include "platform/Drives.h"

#include <string>

namespace kova {

namespace {

/// Index of the letter in "\\.\X:", and the length of such a path.
constexpr std::size_t kLetterIndex = 4;
constexpr std::size_t kDrivePathLength = 6;

} // namespace

ZVolume* openVolume(ZCustomMedia* media) {
    const std::wstring path = media->path();
    if (path.size() < kDrivePathLength)
        return nullptr;
    const wchar_t letter = path[kLetterIndex];
    const std::wstring drivePath = {L'\\', L'\\', L'.', L'\\', letter, L':'};
    if (path != drivePath || letter > 0x7F)
        return nullptr;
    const std::string fileSystem = media->fileSystem()
                                       ? *media->fileSystem()
                                       : platform::fileSystemName(static_cast<char>(letter));
    if (fileSystem.starts_with("NTFS"))
        return new ZNtfsVolume(media);
    if (fileSystem.starts_with("FAT"))
        return new ZFatVolume(media);
    return nullptr;
}

} // namespace kova
