#include "platform/windows/LeastRights.h"

#include "platform/windows/TokenInformation.h"

#include <array>
#include <cstdint>
#include <utility>
#include <vector>

namespace platform {

namespace {

/// A security identifier with its own memory.
class Sid {
public:
    explicit Sid(WELL_KNOWN_SID_TYPE kind) {
        auto size = static_cast<DWORD>(room_.size());
        if (CreateWellKnownSid(kind, nullptr, room_.data(), &size) == 0)
            room_ = {};
    }

    /// Of none when it could not be made; the calls that are given it then fail.
    [[nodiscard]] PSID get() { return room_.data(); }

private:
    alignas(DWORD) std::array<std::uint8_t, SECURITY_MAX_SID_SIZE> room_{};
};

using Sids = std::vector<SID_AND_ATTRIBUTES>;

/// What is made under the token belongs to the user, and can be used by who is as restricted.
/// Otherwise it would belong to the administrators, who may be left out, and the process could not
/// open its own threads. Where the system does not know that, less is safe as well.
void setOwner(HANDLE token, PSID user) {
    constexpr std::size_t kMostAclBytes = 512;
    alignas(DWORD) std::array<std::uint8_t, kMostAclBytes> room{};
    auto* const list = reinterpret_cast<ACL*>(room.data());
    Sid restricted(WinRestrictedCodeSid);
    TOKEN_OWNER owner{user};
    TOKEN_DEFAULT_DACL access{list};
    SetTokenInformation(token, TokenOwner, &owner, sizeof owner);
    if (InitializeAcl(list, static_cast<DWORD>(room.size()), ACL_REVISION) != 0 &&
        AddAccessAllowedAce(list, ACL_REVISION, GENERIC_ALL, user) != 0 &&
        AddAccessAllowedAce(list, ACL_REVISION, GENERIC_ALL, restricted.get()) != 0)
        SetTokenInformation(token, TokenDefaultDacl, &access, sizeof access);
}

/// The token without privileges. Groups of `denied` give nothing any more, and each access must be
/// allowed to one of `restricting`, too.
Handle restrict(HANDLE token, PSID user, Sids& denied, Sids& restricting) {
    HANDLE made = nullptr;
    if (CreateRestrictedToken(token, DISABLE_MAX_PRIVILEGE, static_cast<DWORD>(denied.size()),
                              denied.data(), 0, nullptr, static_cast<DWORD>(restricting.size()),
                              restricting.data(), &made) == 0)
        return {};
    Handle restricted(made);
    setOwner(made, user);
    return setIntegrity(made, SECURITY_MANDATORY_LOW_RID) ? std::move(restricted) : Handle();
}

} // namespace

std::optional<LeastRights> makeLeastRights() {
    HANDLE opened = nullptr;
    if (OpenProcessToken(GetCurrentProcess(),
                         TOKEN_QUERY | TOKEN_DUPLICATE | TOKEN_ASSIGN_PRIMARY |
                             TOKEN_ADJUST_DEFAULT,
                         &opened) == 0)
        return std::nullopt;
    const Handle own(opened);
    const TokenInformation<TOKEN_USER> user(own.get(), TokenUser);
    const TokenInformation<TOKEN_GROUPS> groups(own.get(), TokenGroups);
    if (!user || !groups)
        return std::nullopt;

    // System libraries and the registry's common part are for these to read.
    std::array<Sid, 3> everyones{Sid(WinWorldSid), Sid(WinBuiltinUsersSid),
                                 Sid(WinRestrictedCodeSid)};
    Sids restrictingPrimary;
    for (Sid& sid : everyones)
        restrictingPrimary.push_back({sid.get(), 0});
    Sid administrators(WinBuiltinAdministratorsSid);
    Sids deniedStarting{{administrators.get(), 0}};
    Sids restrictingStarting{{user->User.Sid, 0}};
    Sids deniedPrimary;
    for (DWORD i = 0; i < groups->GroupCount; ++i) {
        const auto& [sid, attributes] = groups->Groups[i];
        if ((attributes & SE_GROUP_INTEGRITY) != 0)
            continue;
        restrictingStarting.push_back({sid, 0});
        const bool isLogon = (attributes & SE_GROUP_LOGON_ID) == SE_GROUP_LOGON_ID;
        if (isLogon)
            restrictingPrimary.push_back({sid, 0}); // the names of this logon's objects
        else if (EqualSid(sid, everyones[0].get()) == 0 && EqualSid(sid, everyones[1].get()) == 0)
            deniedPrimary.push_back({sid, 0});
    }

    LeastRights rights;
    rights.primary = restrict(own.get(), user->User.Sid, deniedPrimary, restrictingPrimary);
    // Who is restricted can only act for one who is restricted as well, if by nothing.
    const Handle starting =
        restrict(own.get(), user->User.Sid, deniedStarting, restrictingStarting);
    HANDLE acting = nullptr;
    if (!rights.primary || !starting ||
        DuplicateTokenEx(starting.get(), TOKEN_QUERY | TOKEN_IMPERSONATE, nullptr,
                         SecurityImpersonation, TokenImpersonation, &acting) == 0)
        return std::nullopt;
    rights.starting = Handle(acting);
    return rights;
}

bool setIntegrity(HANDLE token, DWORD level) {
    SID_IDENTIFIER_AUTHORITY authority = SECURITY_MANDATORY_LABEL_AUTHORITY;
    PSID sid = nullptr;
    if (AllocateAndInitializeSid(&authority, 1, level, 0, 0, 0, 0, 0, 0, 0, &sid) == 0)
        return false;
    TOKEN_MANDATORY_LABEL label{};
    label.Label.Attributes = SE_GROUP_INTEGRITY;
    label.Label.Sid = sid;
    const bool set = SetTokenInformation(token, TokenIntegrityLevel, &label,
                                         sizeof label + GetLengthSid(sid)) != 0;
    FreeSid(sid);
    return set;
}

} // namespace platform
