#pragma once

#include "engine/types.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <limits>
#include <utility>
#include <vector>

namespace kova {

/// Values by node id, for reading and adding only. Ids that follow each other, as record numbers
/// do, lie side by side, and nothing is allocated per id; that is what it has over the standard
/// map.
///
/// References are valid until the next id is added. The smallest integer is no id.
template <typename Value>
class IdTable {
public:
    /// Before the first id: makes room for so many at once.
    void reserve(std::size_t count) {
        if (slots_.empty())
            slots_.resize(std::bit_ceil(std::max(kFewestSlots, count + count / 3 + 1)));
    }

    /// The value of `id`, null when it has none.
    [[nodiscard]] Value* find(int64 id) {
        if (slots_.empty())
            return nullptr;
        Slot& slot = slots_[slotOf(id)];
        return slot.id == id ? &slot.value : nullptr;
    }

    [[nodiscard]] const Value* find(int64 id) const { return const_cast<IdTable*>(this)->find(id); }

    /// The value of `id`, added as `Value{}` when it has none.
    Value& operator[](int64 id) {
        if (slots_.empty())
            grow();
        std::size_t at = slotOf(id);
        if (slots_[at].id == id)
            return slots_[at].value;
        if (4 * (count_ + 1) > 3 * slots_.size()) {
            grow();
            at = slotOf(id);
        }
        slots_[at].id = id;
        ++count_;
        return slots_[at].value;
    }

private:
    static constexpr int64 kFree = std::numeric_limits<int64>::min();
    static constexpr std::size_t kFewestSlots = 16;
    static constexpr uint64 kGroup = 16; ///< Ids that lie side by side.

    struct Slot {
        int64 id = kFree;
        Value value{};
    };

    /// Where `id` is, or the free slot where it would be.
    [[nodiscard]] std::size_t slotOf(int64 id) const {
        // Groups of neighbours are scattered over the table as a whole: a volume may use ids in
        // any steps it likes.
        constexpr uint64 kSpread = 0x9E3779B97F4A7C15;
        const auto bits = static_cast<uint64>(id);
        const std::size_t mask = slots_.size() - 1;
        const uint64 group = ((bits / kGroup) * kSpread) >> 20;
        std::size_t at = (group * kGroup + bits % kGroup) & mask;
        while (slots_[at].id != id && slots_[at].id != kFree)
            at = (at + 1) & mask;
        return at;
    }

    void grow() {
        std::vector<Slot> old(slots_.empty() ? kFewestSlots : 2 * slots_.size());
        old.swap(slots_);
        for (Slot& slot : old) {
            if (slot.id != kFree)
                slots_[slotOf(slot.id)] = std::move(slot);
        }
    }

    std::vector<Slot> slots_; ///< A power of two of them, at most three quarters in use.
    std::size_t count_ = 0;
};

} // namespace kova
