#pragma once

#include "engine/types.h"

namespace kova {

/// What `ZVolume::extract` has found out about the file it was asked for last, beyond its answer.
struct ExtractReport {
    /// Why it could not give all of the file. Of several, the first that was met.
    enum class Reason {
        None,
        NoData,        ///< Where its content lay is not recorded any more.
        Damaged,       ///< What describes its content is damaged.
        Compressed,    ///< The file system had compressed it, and what is left cannot be expanded.
        SystemPacked,  ///< Windows had packed it as a system file in a way that is not read.
        InCloud,       ///< Only a placeholder was on the drive; the content lies with a service.
        BeyondDevice,  ///< Part of it lies beyond the end of the device or image.
        ExtentMissing, ///< Part of what describes its content is gone: zeros stand in its place.
        PlaceUnknown,  ///< Its first cluster is not known.
        Overwritten,   ///< Other files hold all of its clusters now.
        NotAllItsOwn,  ///< By its content, some of it is of other files, deleted by now like it.
    };

    Reason reason = Reason::None;
    bool encrypted = false; ///< Came out as it was stored, encrypted.
    /// Bytes that the device did not give: zeros in the output, or missing at its end.
    uint64 unreadableBytes = 0;
};

} // namespace kova
