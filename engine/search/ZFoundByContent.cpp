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
        const ContentFind& find = finds_[i];
        ZFileTreeNode node;
        node.id = kFirstFile + static_cast<int64>(i);
        node.size = static_cast<int64>(find.content.length);
        if (find.name.empty()) {
            nameByContent(*tree, find.content, i + 1, node);
        } else {
            node.name = find.name;
            node.parentId = kRoot;
            for (const std::wstring& name : find.folders)
                node.parentId = folder(*tree, node.parentId, name);
            node.creationTime = find.creationTime;
            node.modificationTime = find.modificationTime;
        }
        tree->insert(std::move(node));
    }
}

/// A place among those of its type, and a number.
void ZFoundByContent::nameByContent(ZFileTree& tree, const MeasuredContent& content,
                                    std::size_t number, ZFileTreeNode& node) {
    node.parentId = kRoot;
    if (content.state != ContentState::Whole)
        node.parentId = folder(tree, kRoot, L"Incomplete");
    const std::wstring path = contentFolder(*content.type);
    const auto slash = path.find(L'/');
    node.parentId = folder(tree, node.parentId, path.substr(0, slash));
    node.parentId = folder(tree, node.parentId, path.substr(slash + 1));
    node.name = numberText(number);
    if (!content.title.empty())
        node.name += L" " + content.title;
    node.name += L"." + std::wstring(content.type->suffix);
    node.modificationTime = content.date;
    node.creationTime = content.date;
}

/// The id of a folder, which is made when it is not there.
int64 ZFoundByContent::folder(ZFileTree& tree, int64 parent, const std::wstring& name) {
    const auto [known, isNew] =
        folders_.try_emplace({parent, name}, kRoot + 1 + static_cast<int64>(folders_.size()));
    if (!isNew)
        return known->second;
    ZFileTreeNode node;
    node.parentId = parent;
    node.name = name;
    node.isDirectory = true;
    node.id = known->second;
    tree.insert(std::move(node));
    return known->second;
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
