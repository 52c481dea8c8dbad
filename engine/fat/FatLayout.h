#pragma once

#include "engine/LittleEndian.h"

#include <cstddef>
#include <span>

namespace kova {

/// Which width a FAT entry has. It follows from the number of clusters alone.
enum class FatType { Unknown, Fat12, Fat16, Fat32 };

/// A view of one 32-byte directory entry (`offset, width` in bytes). It does not own the bytes.
class FatDirectoryEntry {
public:
    static constexpr std::size_t kBytes = 32;

    static constexpr std::size_t kBaseLength = 8;
    static constexpr std::size_t kExtensionLength = 3;
    static constexpr std::size_t kNameLength = kBaseLength + kExtensionLength;

    /// First name bytes that mean something else.
    static constexpr uint8 kEndMark = 0x00;     ///< This entry and all after it are unused.
    static constexpr uint8 kDeletedMark = 0xE5; ///< Deleted; the name's first byte is lost.
    static constexpr uint8 kDot = '.';          ///< The entries "." and "..".
    static constexpr uint8 kEscapedE5 = 0x05;   ///< A name that begins with the byte 0xE5.

    static constexpr uint8 kVolumeLabel = 0x08; ///< Attribute bit: no file, the volume's name.
    static constexpr uint8 kDirectory = 0x10;   ///< Attribute bit.
    static constexpr uint8 kDefinedAttributes = 0x3F; ///< All attribute bits that mean something.
    static constexpr uint8 kLongName = 0x0F; ///< The attributes that mark a long-name entry.

    static constexpr uint8 kLowerBase = 0x08;      ///< Case bit: show the base in lower case.
    static constexpr uint8 kLowerExtension = 0x10; ///< Case bit: and the extension.

    /// `bytes` holds `kBytes` bytes and outlives the view.
    explicit FatDirectoryEntry(const uint8* bytes) : bytes_(bytes) {}

    /// 0, 11: base (8) and extension (3), padded with blanks.
    [[nodiscard]] std::span<const uint8, kNameLength> name() const {
        return std::span<const uint8, kNameLength>(bytes_, kNameLength);
    }

    [[nodiscard]] uint8 firstByte() const { return bytes_[0]; }

    /// 11, 1
    [[nodiscard]] uint8 attributes() const { return bytes_[11]; }

    /// 12, 1
    [[nodiscard]] uint8 caseBits() const { return bytes_[12]; }

    /// 14 and 16, 2 each: DOS time and date.
    [[nodiscard]] uint16 creationTime() const { return loadLe<uint16>(bytes_ + 14); }

    [[nodiscard]] uint16 creationDate() const { return loadLe<uint16>(bytes_ + 16); }

    /// Both in one number that grows with time.
    [[nodiscard]] uint32 creationStamp() const {
        return static_cast<uint32>(creationDate()) << 16 | creationTime();
    }

    /// 18, 2
    [[nodiscard]] uint16 accessDate() const { return loadLe<uint16>(bytes_ + 18); }

    /// 22 and 24, 2 each
    [[nodiscard]] uint16 writeTime() const { return loadLe<uint16>(bytes_ + 22); }

    [[nodiscard]] uint16 writeDate() const { return loadLe<uint16>(bytes_ + 24); }

    /// Comparable with `creationStamp`.
    [[nodiscard]] uint32 writeStamp() const {
        return static_cast<uint32>(writeDate()) << 16 | writeTime();
    }

    /// 20, 2 (high half, of FAT32 only) and 26, 2 (low half)
    [[nodiscard]] uint32 firstCluster() const {
        return static_cast<uint32>(loadLe<uint16>(bytes_ + 20)) << 16 | lowClusterWord();
    }

    /// Whether the first cluster has no more than the 28 bits that FAT32 uses.
    [[nodiscard]] bool hasClusterOfFat() const { return (firstCluster() >> 28) == 0; }

    [[nodiscard]] uint16 lowClusterWord() const { return loadLe<uint16>(bytes_ + 26); }

    /// 28, 4: length of the data in bytes.
    [[nodiscard]] uint32 size() const { return loadLe<uint32>(bytes_ + 28); }

    [[nodiscard]] bool isLongName() const {
        return (attributes() & kDefinedAttributes) == kLongName;
    }

    /// False: neither a file's or directory's entry nor a part of a long name.
    [[nodiscard]] bool mayBeOfFile() const {
        const bool isShort = attributes() <= kDefinedAttributes && !isVolumeLabel();
        return firstByte() != kEndMark && (isShort || isLongName());
    }

    [[nodiscard]] bool isVolumeLabel() const { return (attributes() & kVolumeLabel) != 0; }

    [[nodiscard]] bool isDirectory() const { return (attributes() & kDirectory) != 0; }

    [[nodiscard]] bool exists() const {
        return firstByte() != kDeletedMark && firstByte() != kEndMark;
    }

private:
    const uint8* bytes_;
};

/// A view of a directory entry that holds 13 UTF-16 units of a long name, in three pieces. It
/// does not own the bytes.
class FatLongNameEntry {
public:
    static constexpr std::size_t kUnits = 13;
    static constexpr char16_t kPadding = 0xFFFF; ///< Fills what follows the closing 0.

    /// `bytes` holds `FatDirectoryEntry::kBytes` bytes and outlives the view.
    explicit FatLongNameEntry(const uint8* bytes) : bytes_(bytes) {}

    /// Unit `index` (0 to 12): 1, 10; 14, 12; 28, 4.
    [[nodiscard]] char16_t unit(std::size_t index) const {
        static constexpr uint8 kOffsets[kUnits] = {1, 3, 5, 7, 9, 14, 16, 18, 20, 22, 24, 28, 30};
        return loadLe<char16_t>(bytes_ + kOffsets[index]);
    }

    /// 13, 1: `checksum` of the short entry that the name belongs to.
    [[nodiscard]] uint8 nameChecksum() const { return bytes_[13]; }

    /// The checksum over the name of a short entry.
    [[nodiscard]] static uint8
    checksum(std::span<const uint8, FatDirectoryEntry::kNameLength> name) {
        uint8 sum = 0;
        for (const uint8 byte : name)
            sum = static_cast<uint8>((sum >> 1 | sum << 7) + byte);
        return sum;
    }

    /// What the first byte of `name` must have been for it to have this checksum.
    [[nodiscard]] static uint8
    firstByteFor(uint8 checksum, std::span<const uint8, FatDirectoryEntry::kNameLength> name) {
        for (std::size_t i = name.size() - 1; i > 0; --i) {
            const auto rotated = static_cast<uint8>(checksum - name[i]);
            checksum = static_cast<uint8>(rotated << 1 | rotated >> 7);
        }
        return checksum;
    }

    /// 26, 2: 0 in every long-name entry.
    [[nodiscard]] uint16 firstCluster() const { return loadLe<uint16>(bytes_ + 26); }

private:
    const uint8* bytes_;
};

} // namespace kova
