#pragma once

#include "engine/exfat/ExFatLayout.h"
#include "engine/search/BlockFinder.h"

#include <string>
#include <vector>

namespace kova {

/// Finds entry sets of a former exFAT volume, in use or deleted, wherever they lie: their checksum
/// vouches for them.
class ExFatSetFinder : public BlockFinder {
public:
    /// One file or folder.
    struct Set {
        uint64 position = 0; ///< Byte on the media of its first entry.
        uint32 bytes = 0;    ///< Of all its entries.
        bool inUse = false;
        exfat::FileEntry file;
        exfat::StreamEntry stream;
        std::u16string name;

        [[nodiscard]] bool isFolder() const {
            return (file.attributes & exfat::FileEntry::kDirectory) != 0;
        }
    };

    /// Whether a look at the step of bytes that `bytes` begin with is worth it: what every block is
    /// asked, and hardly any gets past.
    [[nodiscard]] static bool mayHold(std::span<const uint8> bytes) {
        // Every other entry is one of the two that a set begins with, the file's or the stream's.
        constexpr std::size_t kEntry = exfat::DirectoryEntry::kBytes;
        for (std::size_t at = 0; at < kStep; at += 2 * kEntry) {
            const uint8 kind = kindAt(bytes, at + kEntry);
            const bool isEither =
                kind == exfat::DirectoryEntry::kFile || kind == exfat::DirectoryEntry::kStream;
            if (isEither && (beginsAt(bytes, at) || beginsAt(bytes, at + kEntry)))
                return true;
        }
        return false;
    }

    void look(uint64 position, std::span<const uint8> bytes, std::size_t fresh) override;

    [[nodiscard]] std::wstring name() const override { return L"exFAT entries"; }

    [[nodiscard]] uint64 found() const override { return sets_.size(); }

    /// In the order of the media.
    [[nodiscard]] const std::vector<Set>& sets() const { return sets_; }

private:
    [[nodiscard]] static uint8 kindAt(std::span<const uint8> bytes, std::size_t at) {
        return exfat::DirectoryEntry(bytes.data() + at).kind();
    }

    /// Whether the entries of a file and of its stream lie there.
    [[nodiscard]] static bool beginsAt(std::span<const uint8> bytes, std::size_t at) {
        constexpr std::size_t kEntry = exfat::DirectoryEntry::kBytes;
        return at + 2 * kEntry <= bytes.size() &&
               kindAt(bytes, at) == exfat::DirectoryEntry::kFile &&
               kindAt(bytes, at + kEntry) == exfat::DirectoryEntry::kStream;
    }

    void lookAtSet(uint64 position, std::span<const uint8> bytes);

    platform::LocalTimes localTimes_;
    std::vector<Set> sets_;
};

} // namespace kova
