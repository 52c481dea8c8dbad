#pragma once

#include "engine/search/FormerVolume.h"
#include "engine/search/SavedSearch.h"
#include "engine/search/remnants/NtfsNameFinder.h"

#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

namespace kova {

class KnownFiles;

/// A search of a whole drive for what its file system does not lead to any more, and the volume
/// that gives out what was found, and what today's file system holds too.
///
/// `scan` adds to a tree, which today's volume may have filled before. It reads the drive once from
/// end to end, but for the clusters that live files hold, in large requests, and all that is found
/// lies in folders of its own below the root. What is stopped keeps what it has found until then.
class ZDeepSearch : public ZVolume {
public:
    /// How far a search has come.
    struct Status {
        uint64 searched = 0; ///< Bytes.
        uint64 toSearch = 0; ///< Bytes of all that is to be looked at.
        /// What has been found so far, by kind, in a fixed order.
        std::vector<std::pair<std::wstring, uint64>> found;
    };

    /// `media` is opened, not owned, and outlives this. `today` is the volume on it, initialised,
    /// or null when there is none.
    ZDeepSearch(ZCustomMedia* media, std::unique_ptr<ZVolume> today, SearchOptions search = {});
    ZDeepSearch(const ZDeepSearch&) = delete;
    ZDeepSearch& operator=(const ZDeepSearch&) = delete;
    ~ZDeepSearch() override;

    /// Nothing is to be read.
    bool init() override;

    /// Before `scan`.
    void setKeeping(SearchKeeping keeping) { keeping_ = std::move(keeping); }

    /// Searches, and adds to `tree` what has been found. A false answer of the progress callback
    /// ends the reading; so does what the media's read hook throws.
    void scan(ZFileTree* tree) override;

    bool extract(const ZFileTreeNode& node, ZStream* out) override;

    [[nodiscard]] FileState assess(const ZFileTreeNode& node) override;
    [[nodiscard]] ClusterLayout clusterLayout() const override;
    [[nodiscard]] bool isInUse(uint64 index) const override;
    [[nodiscard]] std::vector<ByteRange> placeOf(const ZFileTreeNode& node) override;
    [[nodiscard]] std::optional<uint64> startOf(const ZFileTreeNode& node) override;

    /// May be asked while `scan` runs, from its callback.
    [[nodiscard]] const Status& status() const { return status_; }

    /// Whether the drive is still being read from end to end, and not yet made files of.
    [[nodiscard]] bool isReading() const { return isReading_; }

    /// Whether it has ended before it had read the whole drive.
    [[nodiscard]] bool canGoOn() const { return interrupted_.has_value(); }

    /// What another search needs to go on with one that can: today's volume, the progress, and in
    /// `tree` the nodes that this search has not added to `searched`. This one is of no use
    /// afterwards.
    [[nodiscard]] std::unique_ptr<ZVolume> handOver(const ZFileTree& searched, ZFileTree& tree,
                                                    std::optional<SavedSearch>& before);

private:
    class Pass;

    /// The volume that a node belongs to, and the node as that volume knows it.
    struct Owner {
        ZVolume* volume = nullptr;
        ZFileTreeNode node;
    };

    [[nodiscard]] Owner ownerOf(const ZFileTreeNode& node) const;
    [[nodiscard]] std::vector<ByteRange> placeOfMft() const;
    void restore(Pass& pass);
    void readAll(Pass& pass);
    void keepAsRead(const Pass& pass);
    [[nodiscard]] std::vector<ContentFind> contentFiles(Pass& pass, const KnownFiles& known);
    [[nodiscard]] std::vector<NtfsNameFinder::Name> namesFor(const Pass& pass);
    KnownFiles knownFiles(const ZFileTree& tree);
    void add(FormerVolume former, ZFileTree& tree, KnownFiles& known);
    void markOlder(const ZFileTree& tree);
    [[nodiscard]] FileState stateOf(const std::vector<ByteRange>& place) const;

    std::unique_ptr<ZVolume> today_;
    SearchOptions search_;
    std::vector<FormerVolume> former_;
    /// By the ids of files of former volumes: bytes of them where younger files lie.
    std::unordered_map<int64, uint64> overwritten_;
    Status status_;
    SearchKeeping keeping_;
    std::optional<SavedSearch> interrupted_;
    bool isReading_ = false;
};

} // namespace kova
