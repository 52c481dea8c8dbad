#include "engine/search/nameFinds.h"

#include "engine/content/ContentKinds.h"
#include "engine/ntfs/NtfsLayout.h"
#include "engine/search/FreeSpace.h"
#include "engine/search/PlacedSource.h"

#include <algorithm>
#include <array>
#include <set>
#include <unordered_map>
#include <utility>

namespace kova {

namespace {

using Name = NtfsNameFinder::Name;

/// As much of a file tells whether its suffix fits.
constexpr std::size_t kBytesShown = 4096;
/// Folders below each other, so that circles end.
constexpr std::size_t kDeepest = 256;
/// More files of one size cannot be told apart by it.
constexpr std::size_t kMostAlike = 16;

class Naming {
public:
    Naming(ZCustomMedia& media, const std::vector<Name>& names, const ZFileTree& tree)
        : media_(media), space_(nullptr, media.sizeBytes()) {
        std::set<std::pair<std::wstring, int64>> known;
        for (const auto& [id, node] : tree.allNodes()) {
            if (!node.isDirectory)
                known.emplace(node.name, node.size);
        }
        for (const Name& name : names) {
            if (name.isDirectory)
                addFolder(name);
            else if (name.size > 0 && !known.contains({name.text, name.size}))
                bySize_[name.size].names.push_back(&name);
        }
    }

    std::vector<ContentFind> run(std::vector<ContentFind>& finds) {
        for (std::size_t i = 0; i < finds.size(); ++i) {
            const auto same = bySize_.find(static_cast<int64>(finds[i].content.length));
            if (same != bySize_.end() && finds[i].content.state == ContentState::Whole)
                same->second.finds.push_back(i);
        }
        std::vector<bool> named(finds.size());
        for (const auto& [size, alike] : bySize_)
            match(alike, finds, named);
        std::vector<ContentFind> taken;
        std::vector<ContentFind> left;
        for (std::size_t i = 0; i < finds.size(); ++i)
            (named[i] ? taken : left).push_back(std::move(finds[i]));
        finds = std::move(left);
        return taken;
    }

private:
    struct Alike {
        std::vector<const Name*> names;
        std::vector<std::size_t> finds;
    };

    /// A folder that two names stand for, of two volumes, is none.
    void addFolder(const Name& name) {
        const auto [known, isNew] = folders_.emplace(name.file, &name);
        if (!isNew && (known->second == nullptr || known->second->text != name.text ||
                       known->second->folder != name.folder))
            known->second = nullptr;
    }

    void match(const Alike& alike, std::vector<ContentFind>& finds, std::vector<bool>& named) {
        if (alike.finds.empty() || alike.finds.size() > kMostAlike ||
            alike.names.size() > kMostAlike)
            return;
        std::vector<std::vector<const Name*>> fitting(alike.finds.size());
        std::unordered_map<const Name*, std::size_t> uses;
        for (std::size_t i = 0; i < alike.finds.size(); ++i) {
            for (const Name* name : alike.names) {
                if (!mayBe(*name, finds[alike.finds[i]]))
                    continue;
                fitting[i].push_back(name);
                ++uses[name];
            }
        }
        for (std::size_t i = 0; i < alike.finds.size(); ++i) {
            if (fitting[i].size() != 1 || uses[fitting[i].front()] != 1)
                continue;
            give(*fitting[i].front(), finds[alike.finds[i]]);
            named[alike.finds[i]] = true;
        }
    }

    bool mayBe(const Name& name, const ContentFind& find) {
        std::array<uint8, kBytesShown> first{};
        PlacedSource source(media_, space_, find.place.front().start);
        const auto wanted =
            static_cast<std::size_t>(std::min<uint64>(find.place.front().length, first.size()));
        const std::size_t held = source.read(0, std::span(first).first(wanted));
        return fits(suffixOf(name.text), std::span(first).first(held)) != Fit::No;
    }

    void give(const Name& name, ContentFind& find) {
        find.name = name.text;
        find.creationTime = name.creationTime;
        find.modificationTime = name.modificationTime;
        uint64 folder = name.folder;
        for (std::size_t depth = 0; (folder & ntfs::kRecordNumberMask) != ntfs::kRootRecord;
             ++depth) {
            const auto known = folders_.find(folder);
            if (depth == kDeepest || known == folders_.end() || known->second == nullptr) {
                find.folders.emplace_back(L"Files with unknown path");
                break;
            }
            find.folders.push_back(known->second->text);
            folder = known->second->folder;
        }
        std::ranges::reverse(find.folders);
    }

    ZCustomMedia& media_;
    FreeSpace space_;
    std::unordered_map<int64, Alike> bySize_;
    std::unordered_map<uint64, const Name*> folders_; ///< By reference; null: ambiguous.
};

} // namespace

std::vector<ContentFind> nameFinds(ZCustomMedia& media, const std::vector<Name>& names,
                                   const ZFileTree& tree, std::vector<ContentFind>& finds) {
    return names.empty() ? std::vector<ContentFind>{} : Naming(media, names, tree).run(finds);
}

} // namespace kova
