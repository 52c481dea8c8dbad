#pragma once

#include <string>

namespace platform {

/// Why a call to the system failed, as far as a caller would act on it.
enum class Error {
    None,
    NotFound,     ///< No such file, folder or device.
    AccessDenied, ///< The rights are missing.
    Exists,       ///< Something stands at the path already.
    NoSpace,      ///< The drive, or the user's share of it, is full.
    TooLong,      ///< A name or path is longer than the system takes.
    DeviceGone,   ///< The device was removed.
    Other,
};

/// What went wrong, true when something did.
struct Failure {
    Error kind = Error::None;
    std::wstring words; ///< The system's own.

    explicit operator bool() const { return kind != Error::None; }
};

} // namespace platform
