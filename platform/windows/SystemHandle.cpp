#include "platform/SystemHandle.h"

#include <windows.h>

namespace platform {

bool SystemHandle::close() {
    if (!isOpen())
        return true;
    return CloseHandle(reinterpret_cast<HANDLE>(std::exchange(value_, kNone))) != 0;
}

} // namespace platform
