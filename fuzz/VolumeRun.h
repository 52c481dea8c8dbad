#pragma once

#include "engine/ZVolume.h"

#include <span>
#include <string_view>

namespace kova::fuzz {

/// Takes a volume through all that the programs do with one: init, scan, a walk over what was
/// found, and the extraction of every file into memory, up to the size that previews go to.
/// Whatever the bytes are, this ends, throws nothing and stays small. Aborts when the scanned
/// tree contradicts itself.
void runNtfs(std::span<const uint8> image);
void runFat(std::span<const uint8> image);
void runExFat(std::span<const uint8> image);

/// Searches the whole image for what is left of any volume, and does the same with what it finds.
/// Aborts when what is kept of the search does not come to the same.
void runSearch(std::span<const uint8> image);

/// Goes on with the search that a text tells of, if it may be one of this media.
void runSavedSearch(ZCustomMedia& media, std::string_view text);

} // namespace kova::fuzz
