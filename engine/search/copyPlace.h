#pragma once

#include "engine/ByteRange.h"
#include "engine/ZCustomMedia.h"
#include "engine/ZStream.h"

#include <vector>

namespace kova {

/// Writes what lies at a place of the media to `out`, in the order of the place. What cannot be
/// read is zero; what `out` throws passes out.
void copyPlace(ZCustomMedia& media, const std::vector<ByteRange>& place, ZStream& out);

} // namespace kova
