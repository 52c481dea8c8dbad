#pragma once

#include "engine/types.h"

#include <span>

namespace kova {

/// Whether a cluster looks as what is packed does: any byte comes about as often as any other.
[[nodiscard]] bool looksPacked(std::span<const uint8> bytes);

/// Whether moreover no byte resembles those before it, as the samples of a picture or of a sound do
/// even where they are loud.
[[nodiscard]] bool looksRandom(std::span<const uint8> bytes);

} // namespace kova
