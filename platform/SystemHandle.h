#pragma once

#include <cstdint>
#include <utility>

namespace platform {

/// What the system knows an open file or folder by: a file descriptor, or a HANDLE. Closed when
/// destroyed.
class SystemHandle {
public:
    SystemHandle() = default;

    explicit SystemHandle(std::intptr_t value) : value_(value) {}

    SystemHandle(SystemHandle&& other) noexcept : value_(std::exchange(other.value_, kNone)) {}

    SystemHandle& operator=(SystemHandle&& other) noexcept {
        if (this != &other) {
            close();
            value_ = std::exchange(other.value_, kNone);
        }
        return *this;
    }

    SystemHandle(const SystemHandle&) = delete;
    SystemHandle& operator=(const SystemHandle&) = delete;

    ~SystemHandle() { close(); }

    [[nodiscard]] bool isOpen() const { return value_ != kNone; }

    [[nodiscard]] std::intptr_t get() const { return value_; }

    /// Nothing is open afterwards. False, with the system's error, when what was written may not
    /// have arrived, or nothing was closed.
    bool close();

private:
    static constexpr std::intptr_t kNone = -1; ///< With every system.

    std::intptr_t value_ = kNone;
};

} // namespace platform
