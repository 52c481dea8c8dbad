#pragma once

#include "engine/types.h"

#include <string>

namespace kova {

/// One found file or directory.
struct ZFileTreeNode {
    int64 id = 0;       ///< NTFS: record number. FAT: first cluster.
    int64 parentId = 0; ///< Id of the directory that holds it, `kNoParent` for the root.
    std::wstring name;  ///< Name without path, as on the volume.
    bool isDirectory = false;
    bool exists = false;    ///< The entry is live; false: deleted.
    uint32 attributes = 0;  ///< File-system attribute bits as stored.
    int64 size = 0;         ///< Bytes of data.
    int64 creationTime = 0; ///< FILETIME: 100 ns units since 1601; also decides between duplicates.
    int64 modificationTime = 0; ///< FILETIME.
    int64 accessTime = 0;       ///< FILETIME.
    bool spareFlag = false;     ///< Not used.
    int64 spareValue = 0;       ///< Not used.
};

/// The folder for what was found without one, to stand in the root folder.
[[nodiscard]] inline ZFileTreeNode makeLostFolder(int64 rootId) {
    ZFileTreeNode folder;
    folder.id = kLostFolder;
    folder.parentId = rootId;
    folder.name = L"Files with unknown path";
    folder.isDirectory = true;
    return folder;
}

} // namespace kova
