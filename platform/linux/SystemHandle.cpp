#include "platform/SystemHandle.h"

#include <cerrno>

#include <unistd.h>

namespace platform {

bool SystemHandle::close() {
    if (!isOpen())
        return true;
    return ::close(static_cast<int>(std::exchange(value_, kNone))) == 0 || errno == EINTR;
}

} // namespace platform
