#include "platform/DriveService.h"

#include "platform/linux/GrantedDevices.h"
#include "platform/linux/UDisks.h"

#include <chrono>

namespace platform {

bool hasDriveService() {
    // Asked before there is a window. On a desktop the service runs already.
    constexpr UDisks::Patience kShort{std::chrono::seconds(5), std::chrono::seconds(0)};
    return UDisks(kShort).isThere();
}

void askDriveService() {
    grantedDevices().enable();
}

} // namespace platform
