#pragma once

#include "engine/ntfs/ZDatarun.h"

#include <cstddef>
#include <utility>
#include <vector>

namespace kova {

/// Where an attribute's clusters lie: its runs, as its extents say them.
///
/// As extents give it, a list ends with a terminator of length 0 (see `ZDatarun`) and may hold
/// what a damaged volume makes of it. Once put in order, or appended to in order, it holds neither
/// empty runs nor overlaps, and finds a cluster without going through all of them.
class RunList {
public:
    using const_iterator = std::vector<ZDatarun>::const_iterator;

    RunList() = default;

    explicit RunList(std::vector<ZDatarun> runs) : runs_(std::move(runs)), isInOrder_(false) {}

    /// Replaces the list by that of one extent. False, and nothing is replaced, when the attribute
    /// is missing, resident or begins before VCN 0. Throws `ZDatarun::ECorruptAttribute`, or the
    /// generic failure for an attribute that leaves its record.
    bool decode(uint32 bytesPerCluster, const ntfs::AttributeHeader& attribute);

    /// Merges the list of a further extent into that of the extents so far. Throws
    /// `ZDatarun::EInvalidArgument`, and changes nothing, when that maps nothing or what is mapped
    /// already.
    void merge(const RunList& extent);

    /// Puts the runs in the order of their VCNs, without overlaps: each cluster keeps the answer
    /// that `lcnOf` gives for it. Runs that cover nothing go.
    void putInOrder();

    /// Adds a run of 1 cluster or more behind all others.
    void append(const ZDatarun& run) { runs_.push_back(run); }

    void clear() { *this = {}; }

    /// The LCN of a VCN; a marker where it has none, `ZDatarun::NotFound` where no run covers it.
    [[nodiscard]] int64 lcnOf(int64 vcn) const;

    [[nodiscard]] bool empty() const { return runs_.empty(); }

    [[nodiscard]] std::size_t size() const { return runs_.size(); }

    /// Of a list that is not empty.
    [[nodiscard]] const ZDatarun& front() const { return runs_.front(); }

    [[nodiscard]] const_iterator begin() const { return runs_.begin(); }

    [[nodiscard]] const_iterator end() const { return runs_.end(); }

    /// Gives the runs away.
    [[nodiscard]] std::vector<ZDatarun> take() { return std::exchange(*this, {}).runs_; }

private:
    std::vector<ZDatarun> runs_;
    bool isInOrder_ = true;
};

} // namespace kova
