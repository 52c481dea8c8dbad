#include "platform/DriveService.h"

#include "platform/linux/GrantedDevices.h"
#include "platform/linux/UDisks.h"

#include <chrono>

namespace platform {

bool hasDriveService() {
    // Asked before there is a window: only the bus has to answer, which is there or not.
    constexpr UDisks::Patience kShort{std::chrono::seconds(3), std::chrono::seconds(0)};
    return UDisks(kShort).isThere();
}

void askDriveService() {
    grantedDevices().enable();
}

} // namespace platform
