#include "workers/rootNodes.h"

#include <algorithm>
#include <iterator>
#include <unordered_map>
#include <utility>
#include <vector>

namespace {

using kova::int64;

/// Finds out for each selected node whether another selected one is above it. What is known
/// about a node is kept, so that a node is passed once however many lie below it.
class RootSearch {
public:
    RootSearch(const kova::ZFileTree& tree, const QSet<int64>& selected)
        : tree_(tree), selected_(selected) {}

    /// Climbs from a selected node as far as needed.
    void climb(int64 id) {
        std::vector<int64> passed;
        bool reached = false; // Whether what is above the last one passed is selected.
        for (;;) {
            const auto [state, isNew] = states_.try_emplace(id, State::Passing);
            if (!isNew && state->second == State::Passing) {
                reached = closeCircle(passed, id);
                break;
            }
            if (!isNew) {
                reached = state->second == State::Reached;
                break;
            }
            passed.push_back(id);
            const kova::ZFileTreeNode* folder = folderOf(id);
            if (folder == nullptr)
                break;
            if (folder->id == tree_.rootId) {
                reached = selected_.contains(folder->id);
                break;
            }
            id = folder->id;
        }
        for (; !passed.empty(); passed.pop_back()) {
            if (selected_.contains(passed.back())) {
                if (reached)
                    covered_.push_back(passed.back());
                reached = true;
            }
            states_[passed.back()] = reached ? State::Reached : State::NotReached;
        }
    }

    [[nodiscard]] const std::vector<int64>& covered() const { return covered_; }

private:
    enum class State { Passing, Reached, NotReached };

    /// The directory that holds a node. Null also when its parent is a file: what hangs below one
    /// (its folder's record was reused) is not reached from further up, and would be lost if
    /// something selected up there removed it.
    [[nodiscard]] const kova::ZFileTreeNode* folderOf(int64 id) const {
        const kova::ZFileTreeNode* node = tree_.find(id);
        if (node == nullptr || node->parentId == id)
            return nullptr;
        const kova::ZFileTreeNode* parent = tree_.find(node->parentId);
        return parent != nullptr && parent->isDirectory ? parent : nullptr;
    }

    /// The climb has come back to `id`: all of the circle is below each of it, so one selected
    /// node stays. Takes the circle off `passed`; returns whether anything of it is selected.
    bool closeCircle(std::vector<int64>& passed, int64 id) {
        const auto first = std::find(passed.begin(), passed.end(), id);
        std::vector<int64> inCircle;
        std::copy_if(first, passed.end(), std::back_inserter(inCircle),
                     [this](int64 member) { return selected_.contains(member); });
        const State state = inCircle.empty() ? State::NotReached : State::Reached;
        std::for_each(first, passed.end(), [&](int64 member) { states_[member] = state; });
        passed.erase(first, passed.end());
        if (inCircle.empty())
            return false;
        std::iter_swap(std::min_element(inCircle.begin(), inCircle.end()), inCircle.begin());
        covered_.insert(covered_.end(), inCircle.begin() + 1, inCircle.end());
        return true;
    }

    const kova::ZFileTree& tree_;
    const QSet<int64>& selected_;
    std::unordered_map<int64, State> states_;
    std::vector<int64> covered_;
};

} // namespace

void keepRootNodes(const kova::ZFileTree& tree, QSet<kova::int64>& selected) {
    RootSearch search(tree, selected);
    for (const int64 id : std::as_const(selected)) {
        if (id != tree.rootId)
            search.climb(id);
    }
    for (const int64 id : search.covered())
        selected.remove(id);
}
