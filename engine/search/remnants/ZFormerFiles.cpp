#include "engine/search/remnants/ZFormerFiles.h"

#include "engine/search/copyPlace.h"

#include <algorithm>
#include <utility>

namespace kova {

namespace {

constexpr int64 kRoot = 0;

/// The first `bytes` of a place.
std::vector<ByteRange> cut(std::vector<ByteRange> place, uint64 bytes) {
    std::size_t count = 0;
    for (; count < place.size() && bytes > 0; ++count) {
        place[count].length = std::min(place[count].length, bytes);
        bytes -= place[count].length;
    }
    place.resize(count);
    return place;
}

} // namespace

ZFormerFiles::ZFormerFiles(ZCustomMedia* media, std::vector<Item> items)
    : ZVolume(media), items_(std::move(items)) {
    items_.shrink_to_fit(); // They stay for long.
    byId_.reserve(items_.size());
    for (std::size_t i = 0; i < items_.size(); ++i)
        byId_.emplace(items_[i].node.id, i);
}

void ZFormerFiles::scan(ZFileTree* tree) {
    ZFileTreeNode root;
    root.id = kRoot;
    root.parentId = kNoParent;
    root.isDirectory = true;
    tree->insert(root);
    for (const Item& item : items_)
        tree->insert(item.node);
    collectOrphans(*tree, [](int64) { return false; });
}

const ZFormerFiles::Item* ZFormerFiles::find(int64 id) const {
    const auto found = byId_.find(id);
    return found == byId_.end() ? nullptr : &items_[found->second];
}

bool ZFormerFiles::extract(const ZFileTreeNode& node, ZStream* out) {
    extractReport_ = {};
    const Item* const item = find(node.id);
    if (item == nullptr || item->node.isDirectory) {
        setShortfall(ExtractReport::Reason::NoData);
        return false;
    }
    if (item->isLost) {
        setShortfall(ExtractReport::Reason::Overwritten);
        return false;
    }
    const int64 before = out->size();
    const auto size = static_cast<uint64>(item->node.size);
    const uint64 valid = std::min(item->validBytes, size);
    const auto place = cut(item->place, valid);
    copyPlace(*media(), place, *out);
    uint64 held = 0;
    for (const ByteRange& range : place)
        held += range.length;
    if (held < valid) {
        setShortfall(ExtractReport::Reason::BeyondDevice);
        return false;
    }
    if (valid < size)
        out->resize(before + item->node.size);
    return true;
}

FileState ZFormerFiles::assess(const ZFileTreeNode& node) {
    FileState state;
    const Item* const item = find(node.id);
    if (item == nullptr)
        return state;
    state.kind = item->isLost       ? FileState::Kind::Overwritten
                 : item->isDoubtful ? FileState::Kind::Uncertain
                                    : FileState::Kind::Whole;
    return state;
}

std::optional<uint64> ZFormerFiles::startOf(const ZFileTreeNode& node) {
    const Item* const item = find(node.id);
    return item == nullptr || item->place.empty() ? std::nullopt
                                                  : std::optional(item->place.front().start);
}

std::vector<ByteRange> ZFormerFiles::placeOf(const ZFileTreeNode& node) {
    const Item* const item = find(node.id);
    return item == nullptr || item->isLost || item->validBytes < static_cast<uint64>(node.size)
               ? std::vector<ByteRange>{}
               : item->place;
}

} // namespace kova
