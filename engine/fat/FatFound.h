#pragma once

#include "engine/FormerStarts.h"
#include "engine/fat/FatPlace.h"

namespace kova {

/// An entry that a scan has met: of a deleted file or directory, or of a live directory. What it
/// becomes in the tree is kept elsewhere: many are gone over, several times.
struct FatFound {
    const FormerStarts::Kinds* kinds = nullptr; ///< By the suffix of its name. Never null.
    int64 id = 0;                               ///< In the tree; set when it is stored.
    uint32 recorded = 0;                        ///< First cluster as its entry says.
    uint32 folder = 0;  ///< Index of the folder that holds it, or `FatFolder::kNone`.
    uint32 written = 0; ///< `FatDirectoryEntry::writeStamp`.
    FatPlace place;
    bool exists = false;   ///< It is a live directory.
    bool isRename = false; ///< The file or directory lives on under another name.
};

/// A file of a folder, deleted or live, in the order of its entries.
struct FatFolderItem {
    static constexpr uint32 kLive = 0xFFFFFFFF;

    uint32 found = kLive; ///< Index of what was found.
    uint32 first = 0;     ///< First cluster of a live one.
    uint32 clusters = 0;
};

/// A directory that a scan has met.
struct FatFolder {
    static constexpr uint32 kRoot = 0;          ///< Index of the root directory.
    static constexpr uint32 kNone = 0xFFFFFFFF; ///< Stands for an unknown one.

    uint32 cluster = 0;    ///< First cluster, 0 for the root and for one whose place is not known.
    uint32 found = 0;      ///< Index of its entry; of no meaning for the root.
    bool isLost = false;   ///< It is deleted, or below one that is.
    bool isNeeded = false; ///< Something to be stored is in it.
    std::size_t itemsBegin = 0; ///< Its range in the list of all items.
    std::size_t itemsEnd = 0;
};

} // namespace kova
