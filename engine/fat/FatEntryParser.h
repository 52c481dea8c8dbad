#pragma once

#include "engine/ZFileTreeNode.h"
#include "engine/ZVolume.h"
#include "engine/fat/FatLayout.h"
#include "platform/LocalTime.h"

#include <string>

namespace kova {

/// Puts the entries of one directory together: the long-name entries that stand before a short
/// entry, and the short entry that completes them.
///
/// Long-name entries are joined by their order alone, and belong to the next short entry that is
/// accepted: of a deleted file the sequence bytes are lost, and the checksum has nothing left to
/// agree with. A short entry that is refused leaves what was collected in place, so that it
/// shows up, mixed with what follows, in a later name.
///
/// With `ScanOptions::lenientFat` a refusal forgets what was collected, the checksum tells two long
/// names apart, and a long name that the short entry cannot have had is not taken.
class FatEntryParser {
public:
    FatEntryParser();

    /// Starts a directory whose first cluster is `directoryCluster` (0: the root) on a volume of
    /// this type.
    void begin(uint32 directoryCluster, const ScanOptions& options, FatType type = FatType::Fat32);

    /// Takes the next entry, `FatDirectoryEntry::kBytes` bytes that stay in place until the next
    /// call.
    void feed(const uint8* bytes);

    /// Forgets what was collected; the directory goes on.
    void reset();

    /// A short entry was accepted: `entry`, `name` and `buildNode` tell what it says. The caller
    /// resets the parser before it feeds the next one.
    [[nodiscard]] bool entryComplete() const { return entryComplete_; }

    /// The entry that marks the end of the directory was fed.
    [[nodiscard]] bool endOfDirectory() const { return endOfDirectory_; }

    /// The first cluster of the directory, 0 for the root.
    [[nodiscard]] uint32 directoryCluster() const { return directoryCluster_; }

    /// The entry fed last.
    [[nodiscard]] FatDirectoryEntry entry() const { return entry_; }

    /// The first cluster that the entry fed last gives.
    [[nodiscard]] uint32 firstCluster() const;

    /// The long name when there is a usable one, else the short name.
    [[nodiscard]] std::wstring name() const;

    /// Everything that the complete entry says, as a node of this directory. `node` is
    /// overwritten.
    void buildNode(ZFileTreeNode& node) const;

    /// Whether the entry fed last is "." or "..", which are in every directory but the root.
    [[nodiscard]] bool isDots() const;

private:
    void feedLongName(FatLongNameEntry entry);
    void finishLongName();
    [[nodiscard]] bool mayBelongToEntry() const;
    [[nodiscard]] bool isAcceptable() const;
    [[nodiscard]] bool isDateAcceptable(uint16 date, bool mayBeUnset) const;
    [[nodiscard]] bool hasLongName() const;
    [[nodiscard]] std::wstring shortName() const;
    [[nodiscard]] std::wstring shortExtension() const;
    [[nodiscard]] std::wstring textOf(std::span<const uint8> bytes, bool lower) const;
    void completeSuffix(std::wstring& name) const;

    FatDirectoryEntry entry_;
    bool entryComplete_ = false;
    bool longNameValid_ = false;
    bool endOfDirectory_ = false;
    uint32 longNameEntries_ = 0; ///< 0 to 21; from 21 on the long name is given up.
    /// Back to front while it is collected.
    std::u16string longName_;
    uint8 longNameChecksum_ = 0;
    bool longNameFillsEntries_ = false; ///< Its end, or what is left of it, is no 0.
    uint32 directoryCluster_ = 0;
    FatType type_ = FatType::Fat32;
    ScanOptions options_;
};

/// Takes the times of a node for local ones.
void tellInUtc(ZFileTreeNode& node, platform::LocalTimes& localTimes);

} // namespace kova
