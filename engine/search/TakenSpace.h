#pragma once

#include "engine/ByteRange.h"

#include <map>
#include <optional>
#include <vector>

namespace kova {

/// Stretches of a media that belong to files already found.
class TakenSpace {
public:
    /// Stretches may overlap and come in any order.
    void add(const std::vector<ByteRange>& place);

    /// Takes them out again.
    void remove(const std::vector<ByteRange>& place);

    /// The stretch that holds the byte, joined with those that touch it; nothing when none does.
    [[nodiscard]] std::optional<ByteRange> at(uint64 byte) const;

    /// How many bytes of a place belong to them.
    [[nodiscard]] uint64 overlap(const std::vector<ByteRange>& place) const;

    /// Where the first stretch behind `byte` begins, the greatest number without one.
    [[nodiscard]] uint64 nextStart(uint64 byte) const;

    /// All stretches in the order of the media, those joined that touch.
    [[nodiscard]] std::vector<ByteRange> stretches() const;

private:
    std::map<uint64, uint64> ends_; ///< By start; they neither overlap nor touch.
};

} // namespace kova
