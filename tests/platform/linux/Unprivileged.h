#pragma once

#include <unistd.h>

namespace platform::test {

/// Takes root's rights away while it lives; without them already, does nothing.
class Unprivileged {
public:
    Unprivileged() { change(kNobody); }

    Unprivileged(const Unprivileged&) = delete;
    Unprivileged& operator=(const Unprivileged&) = delete;

    ~Unprivileged() { change(before_); }

private:
    static constexpr uid_t kNobody = 65534;

    void change(uid_t user) const {
        if (before_ == 0)
            static_cast<void>(::seteuid(user) == 0);
    }

    uid_t before_ = ::geteuid();
};

} // namespace platform::test
