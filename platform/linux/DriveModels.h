#pragma once

#include <map>
#include <string>

#include <systemd/sd-bus.h>

namespace platform {

/// Maker and model of the hardware, UTF-8, by the device nodes on it ("/dev/sdb1").
using DriveModels = std::map<std::string, std::string>;

/// Out of UDisks2's answer to GetManagedObjects, as far as it can be understood. Reads it through.
[[nodiscard]] DriveModels readDriveModels(sd_bus_message* message);

} // namespace platform
