#pragma once

#include "engine/content/ContentReader.h"

#include <string>

namespace kova {

/// The ID3 tags around sound: version 2 in front of it, version 1 (and APE tags) behind it.
namespace id3 {

/// Whether a tag of version 2 begins here: "ID3", version (2 bytes), flags, length of what
/// follows in four bytes of seven bits.
[[nodiscard]] bool begins(std::span<const uint8> first);

/// Bytes of the tags of version 2 in a row at `at`.
[[nodiscard]] uint64 lengthAt(ContentReader& reader, uint64 at);

/// Bytes of the tags that lie behind the sound, at `at`.
[[nodiscard]] uint64 trailerAt(ContentReader& reader, uint64 at);

/// "Artist - Title" from the tag of version 2 at the source's beginning, as far as it has them.
[[nodiscard]] std::wstring title(ContentReader& reader);

} // namespace id3

} // namespace kova
