#pragma once

#include "platform/File.h"

#include <optional>
#include <string>

/// Why nothing can be written into a directory.
struct WriteRefusal {
    platform::Error error;
    std::wstring words; ///< The system's own.
};

/// Tries whether a new file can be written into `directory`, which exists, by writing a small one
/// that is removed at once. Nothing when it can.
[[nodiscard]] std::optional<WriteRefusal> tryWriting(const std::wstring& directory);
