#pragma once

#include "platform/Folder.h"

#include <string>

/// Tries whether a new file can be written into a folder, by writing a small one that is removed at
/// once. No failure when it can.
[[nodiscard]] platform::Failure tryWriting(platform::Folder& folder);

/// The same with the path of a folder that exists.
[[nodiscard]] platform::Failure tryWriting(const std::wstring& directory);
