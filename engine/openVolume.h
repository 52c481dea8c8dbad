#pragma once

#include "engine/ZCustomMedia.h"
#include "engine/ZVolume.h"

namespace kova {

/// The engine for the file system on `media`, which must have been opened by drive letter
/// ("\\.\X:"); null for any other path and for file systems other than NTFS and FAT. The volume
/// is not initialised. The caller owns it and still owns the media, which must outlive it.
[[nodiscard]] ZVolume* openVolume(ZCustomMedia* media);

} // namespace kova
