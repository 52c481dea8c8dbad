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

    void look(uint64 position, std::span<const uint8> bytes, std::size_t fresh) override;

    [[nodiscard]] std::wstring name() const override { return L"exFAT entries"; }

    [[nodiscard]] uint64 found() const override { return sets_.size(); }

    /// In the order of the media.
    [[nodiscard]] const std::vector<Set>& sets() const { return sets_; }

private:
    void lookAtSet(uint64 position, std::span<const uint8> bytes);

    platform::LocalTimes localTimes_;
    std::vector<Set> sets_;
};

} // namespace kova
