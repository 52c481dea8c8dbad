#include "platform/DriveWatch.h"

namespace platform {

struct DriveWatch::System {};

DriveWatch::DriveWatch(std::function<void()> /*onChange*/) {}

DriveWatch::~DriveWatch() = default;

std::wstring DriveWatch::modelOf(const std::wstring& /*device*/) const {
    return {};
}

} // namespace platform
