#include "platform/Sandbox.h"

#include <cerrno>
#include <cstdint>
#include <memory>
#include <vector>

#include <grp.h>
#include <sched.h>
#include <seccomp.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

namespace platform {

namespace {

/// The user and group nobody, who own nothing.
constexpr id_t kNobody = 65534;

constexpr int kHarmlessCalls[] = {
#ifdef ORVANE_SANITIZE
    // The sanitizers find out with a pipe whether memory can be read.
    SCMP_SYS(pipe), SCMP_SYS(pipe2),
#endif
    // Bytes in and out of what is open.
    SCMP_SYS(read), SCMP_SYS(readv), SCMP_SYS(write), SCMP_SYS(writev), SCMP_SYS(close),
    SCMP_SYS(lseek), SCMP_SYS(fstat), SCMP_SYS(poll), SCMP_SYS(ppoll),
    // Memory. Mapping for execution is looked at below.
    SCMP_SYS(munmap), SCMP_SYS(mremap), SCMP_SYS(brk), SCMP_SYS(madvise),
    // Threads of this process.
    SCMP_SYS(futex), SCMP_SYS(set_robust_list), SCMP_SYS(rseq), SCMP_SYS(gettid), SCMP_SYS(getpid),
    SCMP_SYS(sched_yield), SCMP_SYS(sched_getaffinity), SCMP_SYS(sigaltstack),
    SCMP_SYS(rt_sigaction), SCMP_SYS(rt_sigprocmask), SCMP_SYS(rt_sigreturn), SCMP_SYS(exit),
    SCMP_SYS(exit_group), SCMP_SYS(restart_syscall),
    // Time and chance.
    SCMP_SYS(clock_gettime), SCMP_SYS(clock_nanosleep), SCMP_SYS(nanosleep), SCMP_SYS(gettimeofday),
    SCMP_SYS(getrandom), SCMP_SYS(sysinfo), SCMP_SYS(uname)};

bool limit(__rlimit_resource resource, rlim_t most) {
    const rlimit value{most, most};
    return ::setrlimit(resource, &value) == 0;
}

/// Becomes nobody. Without the right to, or where nobody is not known, the process stays who it
/// is; the filter of system calls then stands alone.
void dropRights() {
    if (::geteuid() != 0)
        return;
    static_cast<void>(::setgroups(0, nullptr));
    static_cast<void>(::setresgid(kNobody, kNobody, kNobody) == 0 &&
                      ::setresuid(kNobody, kNobody, kNobody) == 0);
}

/// Whatever is not listed fails as if it were not permitted, which libraries expect of optional
/// things such as reading /proc; nothing of it ends the process.
bool filterSystemCalls() {
    const std::unique_ptr<void, decltype(&seccomp_release)> filter(
        seccomp_init(SCMP_ACT_ERRNO(EPERM)), seccomp_release);
    if (filter == nullptr)
        return false;
    using Conditions = std::vector<scmp_arg_cmp>;
    const auto rule = [&](std::uint32_t action, int call, const Conditions& conditions) {
        return seccomp_rule_add_array(filter.get(), action, call,
                                      static_cast<unsigned>(conditions.size()),
                                      conditions.data()) == 0;
    };
    const auto allow = [&](int call, const Conditions& conditions = {}) {
        return rule(SCMP_ACT_ALLOW, call, conditions);
    };
    for (const int call : kHarmlessCalls) {
        if (!allow(call))
            return false;
    }
    const auto equals = [](unsigned argument, std::uint64_t value) {
        return scmp_arg_cmp{argument, SCMP_CMP_EQ, value, 0};
    };
    const auto hasBits = [](unsigned argument, std::uint64_t mask, std::uint64_t bits) {
        return scmp_arg_cmp{argument, SCMP_CMP_MASKED_EQ, mask, bits};
    };
    const Conditions notExecutable{hasBits(2, PROT_EXEC, 0)};
    // Threads but no processes. The arguments of clone3 cannot be looked at; where it is missing
    // the C library takes clone.
    return allow(SCMP_SYS(mmap), notExecutable) && allow(SCMP_SYS(mprotect), notExecutable) &&
           allow(SCMP_SYS(clone), {hasBits(0, CLONE_THREAD, CLONE_THREAD)}) &&
           rule(SCMP_ACT_ERRNO(ENOSYS), SCMP_SYS(clone3), {}) &&
           // For abort(); no signals to others.
           allow(SCMP_SYS(tgkill), {equals(0, static_cast<std::uint64_t>(::getpid()))}) &&
           // Asking for this process' limits, not setting them.
           allow(SCMP_SYS(prlimit64), {equals(0, 0), equals(2, 0)}) &&
           seccomp_load(filter.get()) == 0;
}

} // namespace

bool enterSandbox() {
    dropRights();
    // After that: another identity would undo what comes now.
    return limit(RLIMIT_CORE, 0) && limit(RLIMIT_FSIZE, 0) &&
           ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
           ::prctl(PR_SET_DUMPABLE, 0, 0, 0, 0) == 0 && filterSystemCalls();
}

} // namespace platform
