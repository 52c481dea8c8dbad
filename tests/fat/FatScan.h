#pragma once

#include "engine/ZFileTree.h"
#include "engine/ZMemoryStream.h"
#include "engine/ZTreeListing.h"
#include "engine/fat/ZFatVolume.h"
#include "format/WideText.h"
#include "tests/support/FatBuilder.h"
#include "tests/support/TestMedia.h"

#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace kova::test {

/// An entry with this name, in both forms.
inline FatEntry named(const std::string& name, bool deleted = false) {
    FatEntry entry;
    entry.name = name;
    entry.longName = std::u16string(name.begin(), name.end());
    entry.deleted = deleted;
    return entry;
}

/// What `extract` looks at in a node.
inline ZFileTreeNode fileAt(int64 cluster, int64 size) {
    ZFileTreeNode node;
    node.id = cluster;
    node.size = size;
    return node;
}

/// A volume that has been scanned.
struct FatScan {
    TestMedia media;
    ZFatVolume volume{&media};
    ZFileTree tree;

    explicit FatScan(std::vector<uint8> bytes, const ScanOptions& options = {},
                     uint32 sectorSize = 512)
        : media(std::move(bytes), sectorSize) {
        volume.setScanOptions(options);
        volume.init();
        volume.scan(&tree);
    }

    explicit FatScan(FatBuilder& builder) : FatScan(builder.bytes()) {}

    /// The path of every node below the root in row order. Directories end in "/", what exists in
    /// " (live)".
    std::vector<std::string> paths() const {
        std::vector<std::string> paths;
        const ZTreeListing listing(tree);
        for (std::size_t i = 0; i < listing.unreachable(); ++i) {
            const ZFileTreeNode& node = *listing.entries()[i].node;
            paths.push_back(format::utf8FromWide(listing.path(i)) + (node.isDirectory ? "/" : "") +
                            (node.exists ? " (live)" : ""));
        }
        return paths;
    }

    /// The one node with this name, whichever folder it is in.
    const ZFileTreeNode& named(const std::wstring& name) const {
        for (const auto& [id, node] : tree.allNodes()) {
            if (node.name == name)
                return node;
        }
        throw std::runtime_error("not found: " + format::utf8FromWide(name));
    }

    std::string extract(const ZFileTreeNode& node) {
        ZMemoryStream out;
        volume.extract(node, &out);
        return {out.bytes().begin(), out.bytes().end()};
    }
};

} // namespace kova::test
