#pragma once

#include "engine/types.h"

#include <vector>

namespace kova::test {

/// Marks every file record behind the system's own free in the MFT bitmap of an NTFS volume that
/// a tool has made, so that a scan finds the files on it as if they had been deleted.
void freeRecords(std::vector<uint8>& image);

} // namespace kova::test
