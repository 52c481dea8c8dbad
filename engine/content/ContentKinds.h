#pragma once

#include "engine/content/ContentKind.h"

#include <string>
#include <string_view>
#include <vector>

namespace kova {

/// What the first bytes of a file, or of a block of a drive, turn out to be.
struct RecognisedContent {
    const ContentKind* kind = nullptr; ///< Null: none that is known.
    Certainty certainty = Certainty::No;
    uint64 before = 0; ///< Bytes of the file that lie before the bytes given.
};

/// Every kind there is.
[[nodiscard]] std::span<const ContentKind* const> contentKinds();

/// The kind that `first` begins, the surest when there are several. Fit to be asked of every block
/// of a drive: most are refused by their first byte. More bytes make it surer; 4 KiB do for all.
[[nodiscard]] RecognisedContent recognise(std::span<const uint8> first);

/// What follows the last dot of a name, with its ASCII letters in lower case; empty without one.
[[nodiscard]] std::wstring suffixOf(std::wstring_view name);

/// The kinds that a file with this suffix (without the dot, in any case) may be of. Empty for
/// suffixes that are not known, or promise nothing.
[[nodiscard]] std::vector<const ContentKind*> kindsForSuffix(std::wstring_view suffix);

/// Whether a file of one of these kinds may begin with these bytes. They cannot tell when there are
/// no kinds or when they are too few.
[[nodiscard]] Fit fits(std::span<const ContentKind* const> kinds, std::span<const uint8> first);

/// The same for a file with this suffix.
[[nodiscard]] Fit fits(std::wstring_view suffix, std::span<const uint8> first);

} // namespace kova
