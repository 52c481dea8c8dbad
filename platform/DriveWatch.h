#pragma once

#include <functional>
#include <memory>
#include <string>

namespace platform {

/// Tells of drives that come, go or change, as soon as the system's drive service does, and what
/// their hardware is called. Where there is no such service, or it ends, it stays silent.
class DriveWatch {
public:
    /// `onChange` is called in the watch's own thread, also when a model becomes known.
    explicit DriveWatch(std::function<void()> onChange);
    DriveWatch(const DriveWatch&) = delete;
    DriveWatch& operator=(const DriveWatch&) = delete;
    /// Waits for a call that runs; there is none afterwards. Never waits for the service.
    ~DriveWatch();

    /// Maker and model of the hardware that a drive's device lies on: "SanDisk Ultra"; empty when
    /// they are not known. Answers at once.
    [[nodiscard]] std::wstring modelOf(const std::wstring& device) const;

private:
    struct System;
    std::unique_ptr<System> system_;
};

} // namespace platform
