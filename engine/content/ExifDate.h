#pragma once

#include "engine/content/ContentReader.h"

namespace kova {

/// When a picture was taken, from the TIFF structure of EXIF that begins at `base` of the reader's
/// source: the original time, else that of the file. A FILETIME; 0 without one, and for what is
/// damaged.
[[nodiscard]] int64 exifDate(ContentReader& reader, uint64 base);

} // namespace kova
