#pragma once

#include "engine/search/SavedSearch.h"

#include <functional>
#include <optional>
#include <string_view>

namespace kova {

/// Gives a search as the lines of a text, each a JSON object in UTF-8, with their line ends. The
/// first tells the volume, the options and how far it has come, the last vouches for all before.
void writeLines(const SavedSearch& search, const std::function<void(std::string_view)>& write);

/// Reads such a text. Nothing when it is none, is of another version, or damaged. What comes back
/// fits the volume that it names, and is bounded by it.
[[nodiscard]] std::optional<SavedSearch> readLines(std::string_view text);

} // namespace kova
