#pragma once

#include "engine/ZCustomMedia.h"
#include "engine/ZVolume.h"

#include <memory>

namespace kova {

/// The engine for the file system on `media` by what the volume itself says, whatever the system
/// takes it for; null when it is none that is known. Used where `openVolume` gives nothing, or
/// what it gives cannot be used.
///
/// Boot sectors and their copies count: NTFS (also in the last sector, or in the middle as old
/// systems kept it), exFAT (also the backup region) and FAT (FAT32 also in the sector that the
/// copy names, usually 6). Where several are found, it counts whether what they say is true: an
/// MFT that begins with file records, an allocation bitmap, a FAT that begins with its media byte
/// and a root directory with entries. An engine that `init` fails for is passed over.
///
/// The volume is not initialised, and the media stands at its start, as `init` wants it. The media
/// must outlive the volume.
[[nodiscard]] std::unique_ptr<ZVolume> recognizeVolume(ZCustomMedia* media);

} // namespace kova
