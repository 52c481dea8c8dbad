#pragma once

#include <cstdint>
#include <vector>

#include <windows.h>

namespace platform {

/// One of the structures that a token is asked for, with what it points to and any elements behind
/// its first.
template <class Structure>
class TokenInformation {
public:
    TokenInformation(HANDLE token, TOKEN_INFORMATION_CLASS kind) {
        DWORD size = 0;
        GetTokenInformation(token, kind, nullptr, 0, &size);
        room_.resize(size);
        valid_ = size >= sizeof(Structure) &&
                 GetTokenInformation(token, kind, room_.data(), size, &size) != 0;
    }

    [[nodiscard]] explicit operator bool() const { return valid_; }

    [[nodiscard]] Structure* get() { return reinterpret_cast<Structure*>(room_.data()); }

    [[nodiscard]] Structure* operator->() { return get(); }

    [[nodiscard]] const Structure* operator->() const {
        return reinterpret_cast<const Structure*>(room_.data());
    }

private:
    std::vector<std::uint8_t> room_;
    bool valid_ = false;
};

} // namespace platform
