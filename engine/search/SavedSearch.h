#pragma once

#include "engine/search/ContentProgress.h"
#include "engine/search/SearchOptions.h"
#include "engine/search/SearchedVolume.h"

#include <functional>
#include <optional>
#include <vector>

namespace kova {

/// What a search has found, and how far it has come, so that it can be gone on with, or its finds
/// be given out, without the drive being read from end to end once more.
struct SavedSearch {
    SearchedVolume volume;
    SearchOptions options;
    uint64 searched = 0; ///< Bytes of the media up to which it has been looked at.
    /// Where former file systems' remains were recognised: they are read again.
    std::vector<ByteRange> remnants;
    ContentProgress content;
    /// What `content` comes to, once that has been worked out to the end.
    std::optional<std::vector<ContentFind>> files;

    /// Whether the drive has been read to its end.
    [[nodiscard]] bool isRead() const { return searched >= volume.bytes; }
};

/// How a search begins and what becomes of its progress.
struct SearchKeeping {
    SearchedVolume volume;             ///< What is searched.
    std::optional<SavedSearch> before; ///< Of the same volume with the same options: goes on.
    bool readsOn = true;               ///< False: no more is looked at than was `before`.
    /// Called now and then, and when reading has ended for whatever reason; by the thread that
    /// searches. May be empty.
    std::function<void(const SavedSearch&)> keep;
};

} // namespace kova
