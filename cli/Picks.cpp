#include "cli/Picks.h"

#include "cli/CommandError.h"
#include "model/texts.h"

#include <map>
#include <string>
#include <utility>

namespace {

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

RecoveryList Picks::listOf(const ZTreeListing& listing, const Selection& selection) const {
    const std::size_t count = listing.entries().size();
    RecoveryList list;
    list.listing = &listing;
    if (isEmpty())
        list.ranges.push_back({0, count});
    list.leftOut.resize(count);
    Picker picker(*this);
    for (std::size_t i = 0; i < count; ++i) {
        list.leftOut[i] = !selection.contains(i);
        if (picker.isPicked(listing, i, selection.contains(i)))
            list.ranges.push_back(listing.rangeOf(i));
    }
    picker.requireAll();
    list.ranges = united(std::move(list.ranges));
    return list;
}
