#include "engine/search/ZFoundByContent.h"

#include "engine/search/copyPlace.h"

namespace kova {

namespace {

/// Ids: the root, then folders, then files by their place in the list.
constexpr int64 kRoot = 0;
constexpr int64 kFirstFile = int64{1} << 20;
constexpr std::size_t kNumberDigits = 5;

std::wstring numberText(std::size_t number) {
    std::wstring text = std::to_wstring(number);
    if (text.size() < kNumberDigits)
        text.insert(0, kNumberDigits - text.size(), L'0');
    return text;
}

} // namespace

void ZFoundByContent::scan(ZFileTree* tree) {
    ZFileTreeNode root;
    root.id = kRoot;
    root.parentId = kNoParent;
    root.isDirectory = true;
    tree->insert(root);
    for (std::size_t i = 0; i < finds_.size(); ++i) {
        const MeasuredContent& content = finds_[i].content;
        const bool isWhole = content.state == ContentState::Whole;
        ZFileTreeNode node;
        node.id = kFirstFile + static_cast<int64>(i);
        node.parentId =
            folder(*tree, (isWhole ? L"" : L"Incomplete/") + contentFolder(*content.type));
        node.name = numberText(i + 1);
        if (!content.title.empty())
            node.name += L" " + content.title;
        node.name += L"." + std::wstring(content.type->suffix);
        node.size = static_cast<int64>(content.length);
        node.modificationTime = content.date;
        node.creationTime = content.date;
        tree->insert(std::move(node));
    }
}

/// The id of a folder, which is made with those above it when it is not there.
int64 ZFoundByContent::folder(ZFileTree& tree, const std::wstring& path) {
    const auto known = folders_.find(path);
    if (known != folders_.end())
        return known->second;
    const auto slash = path.rfind(L'/');
    ZFileTreeNode node;
    node.parentId = slash == std::wstring::npos ? kRoot : folder(tree, path.substr(0, slash));
    node.name = path.substr(slash == std::wstring::npos ? 0 : slash + 1);
    node.isDirectory = true;
    node.id = kRoot + 1 + static_cast<int64>(folders_.size());
    folders_.emplace(path, node.id);
    const int64 id = node.id;
    tree.insert(std::move(node));
    return id;
}

const ContentFind* ZFoundByContent::find(int64 id) const {
    const int64 index = id - kFirstFile;
    return index < 0 || static_cast<std::size_t>(index) >= finds_.size()
               ? nullptr
               : &finds_[static_cast<std::size_t>(index)];
}

bool ZFoundByContent::extract(const ZFileTreeNode& node, ZStream* out) {
    extractReport_ = {};
    const ContentFind* const file = find(node.id);
    if (file == nullptr) {
        setShortfall(ExtractReport::Reason::NoData);
        return false;
    }
    copyPlace(*media(), file->place, *out);
    if (file->content.state == ContentState::Whole)
        return true;
    setShortfall(ExtractReport::Reason::ExtentMissing);
    return false;
}

FileState ZFoundByContent::assess(const ZFileTreeNode& node) {
    FileState state;
    const ContentFind* const file = find(node.id);
    if (file == nullptr)
        return state;
    // Its own structure vouches for it, or only for its beginning and its end.
    state.kind = file->content.verified ? FileState::Kind::Whole : FileState::Kind::Uncertain;
    if (file->content.state != ContentState::Whole)
        state.kind = FileState::Kind::Unreadable;
    return state;
}

std::vector<ByteRange> ZFoundByContent::placeOf(const ZFileTreeNode& node) {
    const ContentFind* const file = find(node.id);
    return file == nullptr ? std::vector<ByteRange>{} : file->place;
}

} // namespace kova
