#pragma once

#include "format/PartitionTable.h"

#include <vector>

namespace format {

/// Finds the volumes of a disk of `size` bytes whose partition table is lost, by boot sectors that
/// are borne out by what they lead to, or by the copies of these. Looks where partitioning tools
/// let volumes begin: at sector 0 and 63, at every mebibyte, and behind a volume. Reads little at
/// each place, and looks at 16,384 of them at most. The volumes are numbered from 1 on, in the
/// order in which they lie.
[[nodiscard]] std::vector<Partition> findVolumes(const ReadDisk& read, std::uint64_t size);

} // namespace format
