#pragma once

#include "engine/content/ContentKind.h"

#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace kova {

/// Where the deleted files and folders of a volume began, as far as their entries still say. What
/// began in a free cluster may still lie there; then no other file goes on in it.
class FormerStarts {
public:
    /// The kinds of content that a name promises; empty when it promises none.
    using Kinds = std::vector<const ContentKind*>;

    enum class Remains : uint8 {
        NotLookedAt,
        There,     ///< What began there still does.
        Gone,      ///< Something else lies there.
        CannotTell ///< Its name promises nothing that could be seen.
    };

    struct Start {
        uint32 cluster = 0;
        uint32 clusters = 0;          ///< That all of it took.
        int64 created = 0;            ///< In any unit that grows with time; 0: not known.
        const Kinds* kinds = nullptr; ///< As `kindsOf` gives them.
        bool isInOnePiece = false;    ///< The clusters follow each other for certain.
        bool isScattered = false;     ///< They do not, for certain.
        Remains remains = Remains::NotLookedAt;
    };

    FormerStarts() = default;
    FormerStarts(const FormerStarts&) = delete;
    FormerStarts& operator=(const FormerStarts&) = delete;
    ~FormerStarts() = default;

    /// Makes room for so many.
    void reserve(std::size_t count) { starts_.reserve(count); }

    void add(const Start& start);

    /// A cluster of a folder that still holds the folder's entries.
    void addFolder(uint32 cluster);

    /// One for each cluster, in their order; valid until the next is added.
    [[nodiscard]] std::vector<Start>& sorted();

    /// Whether one of them lies among the `count` clusters from `cluster` on, and not in the first.
    [[nodiscard]] bool anyInside(uint32 cluster, uint64 count);

    /// Whether the clusters behind `cluster` may hold some of a file that was not made before
    /// `created`: one that begins before them, and lies in pieces of which nobody knows where.
    [[nodiscard]] bool mayBeOverwritten(uint32 cluster, int64 created);

    /// The reference stays valid.
    [[nodiscard]] const Kinds& kindsOf(std::wstring_view name);

    /// Whether content cannot show that it is another file's, as where texts lie, which look alike.
    [[nodiscard]] static bool proveNothing(const Kinds& kinds);

private:
    void findScattered();

    std::vector<Start> starts_;
    std::map<std::wstring, Kinds, std::less<>> kinds_; ///< By suffix.
    bool isSorted_ = true;

    struct Scattered {
        uint32 cluster;
        int64 youngest; ///< When the youngest was made of those up to this one.
    };

    std::vector<Scattered> scattered_; ///< By cluster.
};

} // namespace kova
