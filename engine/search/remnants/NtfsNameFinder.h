#pragma once

#include "engine/search/BlockFinder.h"

#include <set>
#include <string>
#include <utility>
#include <vector>

namespace kova {

/// Finds the names of files in what is left of NTFS folders: in index blocks and in records,
/// those that were taken out of them included, whose bytes mostly stay.
class NtfsNameFinder : public BlockFinder {
public:
    /// One name. The references are a record number and, above it, the record's sequence number.
    struct Name {
        uint64 file = 0;
        uint64 folder = 0;
        int64 size = 0; ///< Bytes.
        int64 creationTime = 0;
        int64 modificationTime = 0;
        bool isDirectory = false;
        std::wstring text;
    };

    void look(uint64 position, std::span<const uint8> bytes, std::size_t fresh) override;

    [[nodiscard]] std::wstring name() const override { return L"names in NTFS folders"; }

    [[nodiscard]] uint64 found() const override { return names_.size(); }

    /// Each once, in the order of the media.
    [[nodiscard]] const std::vector<Name>& names() const { return names_; }

private:
    void lookAt(uint64 position, std::span<const uint8> bytes);

    std::vector<uint8> block_;
    std::vector<Name> names_;
    std::set<std::pair<uint64, std::wstring>> seen_; ///< Folders with the names in them.
};

} // namespace kova
