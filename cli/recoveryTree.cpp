#include "cli/recoveryTree.h"

#include "cli/CommandError.h"
#include "model/texts.h"

#include <map>
#include <string>

namespace {

using kova::ZFileTreeNode;
using kova::ZTreeListing;

/// How far a pick has been found.
enum class Found { No, LeftOut, Yes };

/// Tells for one entry after the other whether it is picked.
class Picker {
public:
    explicit Picker(const Picks& picks) {
        for (const kova::int64 id : picks.ids)
            ids_.emplace(id, Found::No);
        for (const QString& path : picks.paths)
            paths_.emplace(toWide(path), Found::No);
    }

    bool isPicked(const ZTreeListing& listing, std::size_t index, bool selected) {
        bool picked = meet(ids_, listing.entries()[index].node->id, selected);
        if (!paths_.empty() && meet(paths_, listing.path(index), selected))
            picked = true;
        return picked;
    }

    /// Throws `CommandError` when a pick has not been met.
    void requireAll() const {
        for (const auto& [id, found] : ids_)
            require(found, QStringLiteral("--id: nothing with the id %1").arg(id));
        for (const auto& [path, found] : paths_)
            require(found, QStringLiteral("--path: nothing at \"%1\"").arg(toQString(path)));
    }

private:
    template <typename Key>
    static bool meet(std::map<Key, Found>& picks, const Key& key, bool selected) {
        const auto pick = picks.find(key);
        if (pick == picks.end())
            return false;
        if (selected)
            pick->second = Found::Yes;
        else if (pick->second == Found::No)
            pick->second = Found::LeftOut;
        return selected;
    }

    static void require(Found found, const QString& nothing) {
        if (found == Found::LeftOut)
            throw CommandError{ExitCode::WrongUsage,
                               nothing + QStringLiteral(" passes the filters")};
        if (found == Found::No)
            throw CommandError{ExitCode::WrongUsage,
                               nothing + QStringLiteral(" was found; \"orvane-cli scan\" with "
                                                        "--json tells ids and exact paths")};
    }

    std::map<kova::int64, Found> ids_;
    std::map<std::wstring, Found> paths_;
};

} // namespace

void buildRecoveryTree(const ZTreeListing& listing, const Selection& selection, const Picks& picks,
                       kova::ZFileTree& tree) {
    tree.rootId = kOutputRoot;
    ZFileTreeNode root;
    root.id = kOutputRoot;
    root.parentId = kova::kNoParent;
    root.isDirectory = true;
    tree.insert(root);

    Picker picker(picks);
    const auto& entries = listing.entries();
    std::vector<bool> taken(entries.size());
    for (std::size_t i = 0; i < entries.size(); ++i) {
        const auto& [found, parent, depth] = entries[i];
        const bool selected = selection.contains(i);
        const bool picked = picker.isPicked(listing, i, selected) || (picks.isEmpty() && selected);
        const bool parentTaken = parent != ZTreeListing::kNone && taken[parent];
        taken[i] = selected && (picked || parentTaken);
        if (!taken[i])
            continue;
        ZFileTreeNode node = *found;
        node.parentId = parentTaken ? entries[parent].node->id : kOutputRoot;
        tree.insert(node);
    }
    picker.requireAll();
}
