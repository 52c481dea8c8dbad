#include "engine/ntfs/LiveRecycled.h"

#include "engine/ntfs/NtfsLayout.h"
#include "engine/ntfs/RecycleBin.h"

#include <algorithm>
#include <cwctype>
#include <limits>

namespace kova {

namespace {

bool isBinName(std::wstring name) {
    std::transform(name.begin(), name.end(), name.begin(), [](wchar_t letter) {
        return static_cast<wchar_t>(std::towlower(static_cast<std::wint_t>(letter)));
    });
    return name == L"$recycle.bin";
}

} // namespace

void LiveRecycled::add(const ZFileTreeNode& node) {
    constexpr int64 kMost = std::numeric_limits<uint32>::max();
    if (node.id < 0 || node.id > kMost || node.parentId < 0 || node.parentId > kMost)
        return;
    const auto record = static_cast<uint32>(node.id);
    const auto folder = static_cast<uint32>(node.parentId);
    places_.push_back({record, folder});
    if (node.isDirectory && folder == ntfs::kRootRecord && isBinName(node.name))
        bins_.insert(record);
    if (RecycleBin::isContent(node.name))
        contents_.push_back({folder, record, RecycleBin::restOf(node.name)});
    else if (RecycleBin::isDescription(node.name) && !node.isDirectory)
        descriptions_.push_back({folder, record, RecycleBin::restOf(node.name)});
}

/// Each user has a folder in the bin.
bool LiveRecycled::isInBin(uint32 folder) const {
    const auto place =
        std::lower_bound(places_.begin(), places_.end(), folder,
                         [](const Place& a, uint32 record) { return a.record < record; });
    return place != places_.end() && place->record == folder && bins_.contains(place->folder);
}

LiveRecycled::Found LiveRecycled::find() {
    Found found;
    const auto byKey = [](const Half& a, const Half& b) { return a.key() < b.key(); };
    std::sort(descriptions_.begin(), descriptions_.end(), byKey);
    for (const Half& content : contents_) {
        const auto description =
            std::lower_bound(descriptions_.begin(), descriptions_.end(), content, byKey);
        if (description == descriptions_.end() || description->key() != content.key() ||
            !isInBin(content.folder))
            continue;
        found.contents.push_back(content.record);
        found.descriptions.push_back(description->record);
    }
    addBelow(found.contents);
    return found;
}

/// Adds what lies in the folders among `records`, each record once, however the folders lead.
void LiveRecycled::addBelow(std::vector<uint32>& records) {
    std::sort(places_.begin(), places_.end(), [](const Place& a, const Place& b) {
        return std::tie(a.folder, a.record) < std::tie(b.folder, b.record);
    });
    std::set<uint32> known(records.begin(), records.end());
    for (std::size_t i = 0; i < records.size(); ++i) {
        const uint32 folder = records[i];
        auto place =
            std::lower_bound(places_.begin(), places_.end(), folder,
                             [](const Place& a, uint32 number) { return a.folder < number; });
        for (; place != places_.end() && place->folder == folder; ++place) {
            if (known.insert(place->record).second)
                records.push_back(place->record);
        }
    }
}

} // namespace kova
