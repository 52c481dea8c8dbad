#include "platform/linux/Asker.h"

#include <charconv>
#include <cstdlib>
#include <optional>
#include <string_view>
#include <vector>

#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

namespace platform {

namespace {

constexpr auto kUnchanged = static_cast<gid_t>(-1);

struct Owner {
    uid_t user = 0;
    gid_t group = kUnchanged;
};

/// A number in the environment.
std::optional<id_t> numberIn(const char* variable) {
    const char* const text = std::getenv(variable);
    if (text == nullptr)
        return std::nullopt;
    const std::string_view digits(text);
    id_t number = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
    if (error != std::errc() || end != digits.data() + digits.size())
        return std::nullopt;
    return number;
}

gid_t mainGroupOf(uid_t user) {
    constexpr std::size_t kRoomForNames = 16'384;
    std::vector<char> names(kRoomForNames);
    passwd entry{};
    passwd* found = nullptr;
    if (::getpwuid_r(user, &entry, names.data(), names.size(), &found) != 0 || found == nullptr)
        return kUnchanged;
    return found->pw_gid;
}

std::optional<Owner> asker() {
    if (::geteuid() != 0)
        return std::nullopt;
    std::optional<id_t> user = numberIn("PKEXEC_UID");
    if (!user)
        user = numberIn("SUDO_UID");
    if (!user || *user == 0)
        return std::nullopt;
    return Owner{*user, mainGroupOf(*user)};
}

} // namespace

void giveToAsker(int fd) {
    static const std::optional<Owner> owner = asker();

    struct stat status {};

    // A folder is opened after it was made: what stands there by then, and is not ours, is left.
    if (!owner || ::fstat(fd, &status) != 0 || status.st_uid != ::geteuid())
        return;
    // Another group than ours is that of a folder which people share.
    const gid_t group = status.st_gid == ::getegid() ? owner->group : kUnchanged;
    static_cast<void>(::fchownat(fd, "", owner->user, group, AT_EMPTY_PATH) == 0);
}

} // namespace platform
