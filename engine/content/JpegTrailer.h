#pragma once

#include "engine/content/ContentReader.h"

#include <optional>

namespace kova {

/// Behind what phones append to the picture that ends at `at`: the film of a moving photo, and the
/// blocks in which some makers keep it and more. `isMoving`: the picture says that it has a film,
/// so that one which begins a sector is its own. Nothing where something appended has no end.
[[nodiscard]] std::optional<uint64> afterJpegTrailers(ContentReader& reader, uint64 at,
                                                      bool isMoving);

} // namespace kova
