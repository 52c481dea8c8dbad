#include "platform/DriveService.h"

namespace platform {

bool hasDriveService() {
    return false; // Rights come with the process here.
}

void askDriveService() {}

} // namespace platform
