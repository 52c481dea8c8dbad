#pragma once

#include "engine/types.h"

#include <span>
#include <string_view>
#include <vector>

namespace kova {

/// A volume's up-case table, by which it compares and hashes names.
class ExFatUpcase {
public:
    /// One that knows the letters of ASCII only.
    ExFatUpcase();

    /// Takes the table over as it lies on the volume, where runs of characters without another
    /// upper case are packed.
    void unpack(std::span<const uint8> packed);

    /// The checksum of a packed table.
    [[nodiscard]] static uint32 checksum(std::span<const uint8> packed);

    /// The hash of a name that its stream entry holds.
    [[nodiscard]] uint16 nameHash(std::u16string_view name) const;

private:
    std::vector<char16_t> upper_; ///< By UTF-16 unit.
};

} // namespace kova
