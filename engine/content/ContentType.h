#pragma once

#include <string>

namespace kova {

/// What people look for a file under.
enum class ContentGroup { Pictures, Videos, Sounds, Documents, Archives, Programs, Other };

/// What lies inside files of a type.
enum class Filling {
    Anything, ///< Other files too, perhaps.
    Samples,  ///< Numbers as they were measured, which resemble their neighbours.
    Packed    ///< Bits of one picture or sound, or of what was packed.
};

/// What a file turns out to be by its content.
struct ContentType {
    const wchar_t* name = L"";   ///< As people call it: "JPEG". Fit for the name of a folder.
    const wchar_t* suffix = L""; ///< The suffix that such a file has by default, in lower case.
    ContentGroup group = ContentGroup::Other;
    Filling filling = Filling::Anything;
};

/// Where files of a type are put together: "Pictures/JPEG".
[[nodiscard]] std::wstring contentFolder(const ContentType& type);

} // namespace kova
