#pragma once

#include "platform/Failure.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace platform {

/// A volume opened raw: a drive, a device, or an image file. There is no way to write through
/// it, and it is opened without the right to.
class Device {
public:
    Device();
    Device(Device&&) noexcept;
    Device& operator=(Device&&) noexcept;
    Device(const Device&) = delete;
    Device& operator=(const Device&) = delete;
    ~Device();

    /// Opens `path`, closing what was open. A path "\\.\X:" opens whatever stands behind letter
    /// X, an attached image included, and keeps that letter from being given to anything else
    /// while it is open. Any other path opens that device or image itself. Other programs may
    /// read and write it meanwhile.
    bool open(const std::wstring& path);

    [[nodiscard]] bool isOpen() const;

    /// Returns whether nothing is open afterwards.
    bool close();

    /// Reads until `count` bytes are there, the volume ends, or the device fails. Returns the
    /// bytes read, 0 at or beyond the end, -1 when the device failed before the first. On a
    /// Windows drive, position and count are whole sectors.
    std::int64_t readAt(std::uint64_t position, void* buffer, std::size_t count);

    /// Reads what the system holds in memory already, without waiting for the device. False when
    /// any of the `count` bytes is not there, or the system cannot tell: `readAt` has to be asked
    /// then, and what the buffer holds is worth nothing. May be called while another thread reads.
    bool readAtOnce(std::uint64_t position, void* buffer, std::size_t count) const;

    /// Bytes that can be read, 0 when the system does not tell.
    [[nodiscard]] std::uint64_t size() const;

    /// False once the device behind an open volume has been removed.
    [[nodiscard]] bool isPresent() const;

    /// Why the last open or read failed; says nothing once closed.
    [[nodiscard]] Failure failure() const;

private:
    struct State;
    std::unique_ptr<State> state_;
};

} // namespace platform
