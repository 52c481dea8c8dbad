#pragma once

#include <FreeImage.h>

#include <memory>

namespace picture {

/// FreeImage's bitmap, in which all pictures are scaled; rows are from the bottom.
using Bitmap = std::unique_ptr<FIBITMAP, decltype(&FreeImage_Unload)>;

} // namespace picture
