#pragma once

#include "engine/ZFileTree.h"
#include "engine/ZMemoryStream.h"
#include "engine/ZTreeListing.h"
#include "engine/exfat/ZExFatVolume.h"
#include "format/WideText.h"
#include "tests/support/TestMedia.h"

#include <map>
#include <string>
#include <utility>
#include <vector>

namespace kova::test {

/// A volume that has been scanned.
struct ExFatScan {
    TestMedia media;
    ZExFatVolume volume{&media};
    ZFileTree tree;

    explicit ExFatScan(std::vector<uint8> bytes, uint32 sectorSize = 512)
        : media(std::move(bytes), sectorSize) {
        volume.setScanOptions(ScanOptions::today());
        volume.init();
        volume.scan(&tree);
    }

    /// Every node by its path. Folders end in "/", what exists in " (live)".
    std::map<std::string, const ZFileTreeNode*> nodes() const {
        std::map<std::string, const ZFileTreeNode*> found;
        const ZTreeListing listing(tree);
        for (std::size_t i = 0; i < listing.entries().size(); ++i) {
            const ZFileTreeNode& node = *listing.entries()[i].node;
            found[format::utf8FromWide(listing.path(i)) + (node.isDirectory ? "/" : "") +
                  (node.exists ? " (live)" : "")] = &node;
        }
        return found;
    }

    std::vector<std::string> paths() const {
        std::vector<std::string> paths;
        for (const auto& [path, node] : nodes())
            paths.push_back(path);
        return paths;
    }

    const ZFileTreeNode& at(const std::string& path) const { return *nodes().at(path); }

    /// The content of a file; "failed: " before what came of one that is not whole.
    std::string extract(const ZFileTreeNode& node) {
        ZMemoryStream out;
        const bool isWhole = volume.extract(node, &out);
        return (isWhole ? "" : "failed: ") + std::string(out.bytes().begin(), out.bytes().end());
    }
};

} // namespace kova::test
