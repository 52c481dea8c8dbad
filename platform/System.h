#pragma once

#include "format/LetterTable.h"
#include "platform/CodePage.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>

/// What the code shared by all systems needs from the one it runs on, beyond the public headers.
namespace platform {

enum class PathKind {
    Missing, ///< Nothing there, or it cannot be looked at.
    File,
    Folder,
    Device, ///< A device or anything else that is neither file nor folder.
};

[[nodiscard]] PathKind pathKind(const std::wstring& path);

/// The path in a form that does not depend on the current folder; `path` itself on failure.
[[nodiscard]] std::wstring absolutePath(const std::wstring& path);

/// The last component of a path.
[[nodiscard]] std::wstring lastComponent(const std::wstring& path);

/// The label of the volume in `length` bytes from byte `offset` of an image file; empty when it
/// has none, or none that this system can read out of a file.
[[nodiscard]] std::wstring labelInImage(const std::wstring& path, std::uint64_t offset,
                                        std::uint64_t length);

/// As `wideFromSystemCodePage`; control characters above 0x7F may come out as they are.
[[nodiscard]] std::optional<std::wstring> convertFromCodePage(std::span<const std::uint8_t> bytes,
                                                              CodePage page);

/// The letters of this process.
[[nodiscard]] format::LetterTable& letters();

/// The letter of `source`, given now if it has none; nothing when all are taken.
[[nodiscard]] std::optional<char> giveLetter(const format::VolumeSource& source);

/// A drive letter as a capital; anything else as it is.
[[nodiscard]] constexpr char capitalLetter(char letter) {
    return letter >= 'a' && letter <= 'z' ? static_cast<char>(letter - 'a' + 'A') : letter;
}

/// The letter in a path of the form "\\.\X:", as a capital.
[[nodiscard]] std::optional<char> letterInDevicePath(const std::wstring& path);

} // namespace platform
