#pragma once

#include "engine/FileState.h"

#include <algorithm>
#include <cstddef>
#include <vector>

namespace kova {

/// What a scan has seen of its files' states, in 12 bytes each.
class FileStates {
public:
    void clear() {
        entries_.clear();
        next_ = 0;
    }

    /// Records are added in ascending order. States that do not fit are left out.
    void add(uint32 record, const FileState& state) {
        if (state.clusters >= kResident)
            return;
        const bool isResident = state.kind == FileState::Kind::Resident;
        entries_.push_back({record, isResident ? kResident : static_cast<uint32>(state.clusters),
                            static_cast<uint32>(state.taken)});
    }

    /// False when nothing was kept of the record.
    bool find(uint32 record, FileState& state) {
        // Whoever asks in order is answered without a search.
        auto found = entries_.begin() + static_cast<std::ptrdiff_t>(next_);
        if (found == entries_.end() || found->record != record)
            found = std::lower_bound(
                entries_.begin(), entries_.end(), record,
                [](const Entry& entry, uint32 number) { return entry.record < number; });
        if (found == entries_.end() || found->record != record)
            return false;
        next_ = static_cast<std::size_t>(found - entries_.begin()) + 1;
        if (found->clusters == kResident)
            state = {FileState::Kind::Resident};
        else
            state = of(found->clusters, found->taken);
        return true;
    }

    /// The state of a file of which other files hold `taken` of its `clusters`.
    static FileState of(uint64 clusters, uint64 taken) {
        using Kind = FileState::Kind;
        const Kind kind = taken == 0          ? Kind::Whole
                          : taken == clusters ? Kind::Overwritten
                                              : Kind::Partly;
        return {kind, clusters, taken};
    }

private:
    struct Entry {
        uint32 record;
        uint32 clusters;
        uint32 taken;
    };

    static constexpr uint32 kResident = 0xFFFFFFFF;

    std::vector<Entry> entries_;
    std::size_t next_ = 0; ///< After the one found last.
};

} // namespace kova
