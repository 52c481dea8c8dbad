#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/// The drives of this machine by letter, as Windows knows them; on Linux letters are given to
/// the block devices that hold NTFS, FAT or exFAT. A letter, once given to a device, stays with
/// it for the life of the process and goes to another only when all are used up, the device is
/// gone and nothing has it open. Attached disk images have letters like any drive.
/// Functions may be called from any thread.
namespace platform {

enum class DriveKind { Fixed, Removable, Other };

struct Drive {
    char letter = 0; ///< 'A' to 'Z'.
    DriveKind kind = DriveKind::Other;
    std::wstring volumeName; ///< The label; without one the device node's or image's name.
    std::string fileSystem;  ///< As Windows names it: "NTFS", "FAT", "FAT32", "exFAT"; or "", also
                             ///< where only the copy of a boot sector tells what it is.
    std::uint32_t sectorSize = 0; ///< Bytes; 0 when it cannot be learned.
    std::uint64_t sizeBytes = 0;
    std::wstring device; ///< Device node, or the image file's path.
    std::wstring
        model; ///< Maker and model of the hardware, where the system tells: "SanDisk Ultra".
    bool isImage = false;
    int partition = 0; ///< 1-based number in the image's partition table; 0: the whole of it.
};

/// Every fixed or removable drive whose volume can be queried, attached images included, by
/// letter.
[[nodiscard]] std::vector<Drive> listDrives();

/// The drive behind a letter, asked afresh, of whatever kind; nothing when there is none.
[[nodiscard]] std::optional<Drive> findDrive(char letter);

/// The name of the file system on the drive with this letter, as Windows names it; empty when
/// there is no such drive or its volume is none that the system knows.
[[nodiscard]] std::string fileSystemName(char letter);

/// The letter of the drive that a device path or node names ("/dev/sdb1"; on Windows "D:" in any
/// spelling), giving it one if it has none. Nothing when it is no block device.
[[nodiscard]] std::optional<char> letterOfDevice(const std::wstring& device);

/// Outcome of attaching a disk image.
struct AttachResult {
    /// One drive per NTFS, FAT or exFAT partition in the order of the table, or one for an
    /// image without a partition table (whatever it holds). Empty: see `error`.
    std::vector<Drive> drives;
    std::wstring error; ///< In words, for people; empty on success.
    bool accessDenied = false;
    /// No table led to the drives: they are volumes that were looked for, numbered as they lie.
    bool tableIsLost = false;
    /// There is a table, but it leads to none that can be read.
    bool holdsOthersOnly = false;
};

/// What an image is taken for.
enum class ImageParts {
    Volumes, ///< What its partition table, if it has one, leads to.
    Whole,   ///< One drive from end to end, whatever a table says.
};

/// Attaches a disk image read-only. Attaching the same file again gives the same letters.
[[nodiscard]] AttachResult attachImage(const std::wstring& path,
                                       ImageParts parts = ImageParts::Volumes);

/// True when a file written below `directory` (which need not exist yet; its nearest existing
/// parent counts) would be written to the drive with this letter: to its device, to a device
/// that contains it or lies on it, or, for an image, into a mount of that very image file.
/// On Windows also true when that cannot be ruled out: shares and containers whose driver does not
/// tell where they lie.
[[nodiscard]] bool liesOnDrive(const std::wstring& directory, char letter);

/// What passes on what is written below `directory` to a place that nothing tells, in words: a view
/// of other folders whose source is not there, say, which may well lie on the drive being read.
/// Empty when it is known where it goes.
[[nodiscard]] std::wstring unknownPlace(const std::wstring& directory);

/// True when `path` is the very file that the image behind `letter` is read from.
[[nodiscard]] bool isImageFile(const std::wstring& path, char letter);

} // namespace platform
