#pragma once

#include "engine/types.h"

#include <span>
#include <string>

namespace kova {

/// "Artist - Title" from a Vorbis comment (in Ogg and FLAC files): the maker's length (4 bytes,
/// little-endian) and name, the count of fields (4), each "NAME=value" behind its length (4). What
/// is cut off or has neither gives nothing.
[[nodiscard]] std::wstring vorbisTitle(std::span<const uint8> comment);

} // namespace kova
