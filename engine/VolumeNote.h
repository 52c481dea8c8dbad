#pragma once

namespace kova {

/// What a volume had to do without, or took from elsewhere, to be read at all.
enum class VolumeNote {
    BackupBootSector, ///< The main boot sector could not be used; its copy was.
    MftMirror,        ///< The MFT's own record could not be used; its mirror was.
    NoVolumeBitmap,   ///< Which clusters are in use is not known.
    SecondFat,        ///< The first FAT could not be used; the second was.
    NoFat,            ///< No FAT could be used.
    EndsEarly,        ///< The device or image is shorter than the file system on it.
};

} // namespace kova
