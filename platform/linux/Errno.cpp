#include "platform/linux/Errno.h"

#include "format/WideText.h"

#include <cerrno>
#include <system_error>

namespace platform {

namespace {

Error kindOf(int code) {
    switch (code) {
    case 0:
        return Error::None;
    case ENOENT:
    case ENOTDIR:
        return Error::NotFound;
    case EACCES:
    case EPERM:
    case EROFS:
        return Error::AccessDenied;
    case EEXIST:
        return Error::Exists;
    case ENOSPC:
    case EDQUOT:
        return Error::NoSpace;
    case ENAMETOOLONG:
        return Error::TooLong;
    case ENODEV:
    case ENXIO:
    case ENOMEDIUM:
    case ESHUTDOWN:
        return Error::DeviceGone;
    default:
        return Error::Other;
    }
}

} // namespace

Failure failureOf(int code) {
    return {kindOf(code), format::wideFromUtf8(std::system_category().message(code))};
}

Failure lastFailure() {
    return failureOf(errno);
}

} // namespace platform
