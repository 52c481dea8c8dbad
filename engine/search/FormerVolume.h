#pragma once

#include "engine/ZVolume.h"

#include <memory>
#include <string>

namespace kova {

/// Files that a search has found together, as a volume of their own: their ids mean something in
/// it only.
struct FormerVolume {
    std::wstring title; ///< Of the folder that shows them.
    std::unique_ptr<ZVolume> volume;
};

/// The title for files of a former volume of this kind; `label` is empty when it is not known.
[[nodiscard]] inline std::wstring formerTitle(const wchar_t* kind, const std::wstring& label) {
    std::wstring title = std::wstring(L"Found on the former ") + kind + L" volume";
    return label.empty() ? title : title + L" " + label;
}

} // namespace kova
