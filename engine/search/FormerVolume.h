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

} // namespace kova
