#pragma once

/// The system's own service for drives, where it has one: UDisks2 on Linux. It opens for reading
/// what this process may not, once the person at the machine has agreed.
namespace platform {

/// Whether the service runs, or could be started. Takes a few seconds at most.
[[nodiscard]] bool hasDriveService();

/// From now on a device that this process may not open is asked for from the service, which may
/// ask the person, in the desktop session or the terminal, and wait for some minutes. Before, no
/// one is asked anything. Other threads must not run yet.
void askDriveService();

} // namespace platform
