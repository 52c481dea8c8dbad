#include "platform/ChildProcess.h"

#include "platform/windows/LeastRights.h"
#include "platform/windows/Win32.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <limits>
#include <utility>

namespace platform {

namespace {

/// What is kept of a child that writes without being asked; it then has to wait.
constexpr std::size_t kMostAhead = std::size_t{1} << 20;

constexpr DWORD kPipeBuffer = 64 * 1024;

/// Ends of a pipe: ours does not wait, the child's does and is inherited.
struct Pipe {
    Handle ours;
    Handle childs;
};

enum class Direction { ToChild, FromChild };

/// Only a named pipe can be read and written with a deadline.
bool makePipe(Direction direction, Pipe& pipe) {
    static std::atomic<unsigned> number{0};
    const std::wstring name = L"\\\\.\\pipe\\orvane-" + std::to_wstring(GetCurrentProcessId()) +
                              L"-" + std::to_wstring(++number);
    const bool toChild = direction == Direction::ToChild;
    pipe.ours = Handle(CreateNamedPipeW(name.c_str(),
                                        (toChild ? PIPE_ACCESS_OUTBOUND : PIPE_ACCESS_INBOUND) |
                                            FILE_FLAG_OVERLAPPED | FILE_FLAG_FIRST_PIPE_INSTANCE,
                                        PIPE_TYPE_BYTE | PIPE_WAIT | PIPE_REJECT_REMOTE_CLIENTS, 1,
                                        kPipeBuffer, kPipeBuffer, 0, nullptr));
    SECURITY_ATTRIBUTES inherited{sizeof inherited, nullptr, TRUE};
    if (pipe.ours)
        pipe.childs = Handle(CreateFileW(name.c_str(), toChild ? GENERIC_READ : GENERIC_WRITE, 0,
                                         &inherited, OPEN_EXISTING, 0, nullptr));
    return static_cast<bool>(pipe.childs);
}

/// One read or write that is under way, or none. Cancelled when destroyed.
class Transfer {
public:
    explicit Transfer(HANDLE pipe)
        : pipe_(pipe), done_(CreateEventW(nullptr, TRUE, FALSE, nullptr)) {}

    Transfer(const Transfer&) = delete;
    Transfer& operator=(const Transfer&) = delete;

    ~Transfer() {
        if (!underWay_)
            return;
        CancelIoEx(pipe_, &overlapped_);
        DWORD moved = 0;
        GetOverlappedResult(pipe_, &overlapped_, &moved, TRUE);
    }

    bool read(std::span<std::uint8_t> bytes) {
        return begin(
            [&] { return ReadFile(pipe_, bytes.data(), sizeOf(bytes), nullptr, &overlapped_); });
    }

    bool write(std::span<const std::uint8_t> bytes) {
        return begin(
            [&] { return WriteFile(pipe_, bytes.data(), sizeOf(bytes), nullptr, &overlapped_); });
    }

    [[nodiscard]] bool underWay() const { return underWay_; }

    [[nodiscard]] HANDLE event() const { return done_.get(); }

    /// Of a transfer that has ended: the bytes moved, or nothing on failure. Call it once.
    bool take(DWORD& moved) {
        underWay_ = false;
        return GetOverlappedResult(pipe_, &overlapped_, &moved, FALSE) != 0;
    }

    [[nodiscard]] bool cancel(DWORD& moved) {
        CancelIoEx(pipe_, &overlapped_);
        underWay_ = false;
        return GetOverlappedResult(pipe_, &overlapped_, &moved, TRUE) != 0;
    }

private:
    template <typename Bytes>
    static DWORD sizeOf(const Bytes& bytes) {
        return static_cast<DWORD>(std::min<std::size_t>(bytes.size(), kPipeBuffer));
    }

    template <typename Call>
    bool begin(const Call& call) {
        overlapped_ = {};
        overlapped_.hEvent = done_.get();
        underWay_ = call() != 0 || GetLastError() == ERROR_IO_PENDING;
        return underWay_;
    }

    HANDLE pipe_;
    Handle done_;
    OVERLAPPED overlapped_{};
    bool underWay_ = false;
};

/// A job that ends its one process with itself.
Handle makeJob(const ChildLimits& limits) {
    Handle job(CreateJobObjectW(nullptr, nullptr));
    JOBOBJECT_EXTENDED_LIMIT_INFORMATION information{};
    auto& basic = information.BasicLimitInformation;
    basic.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE | JOB_OBJECT_LIMIT_ACTIVE_PROCESS |
                       JOB_OBJECT_LIMIT_DIE_ON_UNHANDLED_EXCEPTION;
    basic.ActiveProcessLimit = 1;
    if (limits.memory != 0) {
        basic.LimitFlags |= JOB_OBJECT_LIMIT_PROCESS_MEMORY;
        information.ProcessMemoryLimit = static_cast<SIZE_T>(limits.memory);
    }
    if (limits.cpuSeconds != 0) {
        constexpr LONGLONG kTicksPerSecond = 10'000'000;
        basic.LimitFlags |= JOB_OBJECT_LIMIT_PROCESS_TIME;
        basic.PerProcessUserTimeLimit.QuadPart = limits.cpuSeconds * kTicksPerSecond;
    }
    if (job.get() == nullptr ||
        SetInformationJobObject(job.get(), JobObjectExtendedLimitInformation, &information,
                                sizeof information) == 0)
        return {};
    // Nothing of the desktop either: other programs' windows, the clipboard, the session's end.
    // What a system does not know of it is left out.
    JOBOBJECT_BASIC_UI_RESTRICTIONS desktop{};
    desktop.UIRestrictionsClass = JOB_OBJECT_UILIMIT_HANDLES | JOB_OBJECT_UILIMIT_READCLIPBOARD |
                                  JOB_OBJECT_UILIMIT_WRITECLIPBOARD | JOB_OBJECT_UILIMIT_DESKTOP |
                                  JOB_OBJECT_UILIMIT_GLOBALATOMS | JOB_OBJECT_UILIMIT_EXITWINDOWS |
                                  JOB_OBJECT_UILIMIT_DISPLAYSETTINGS |
                                  JOB_OBJECT_UILIMIT_SYSTEMPARAMETERS;
    SetInformationJobObject(job.get(), JobObjectBasicUIRestrictions, &desktop, sizeof desktop);
    return job;
}

// What a child is kept from with ChildRights::Least, whatever runs in it. Its addresses are not the
// same twice; a broken heap ends it; nobody's input methods and hooks are loaded into it; no memory
// becomes code; libraries come from this machine and rather from the system's folder, and not from
// what others at low integrity have left; it parses no fonts but the system's.
constexpr DWORD64 kMitigations =
    PROCESS_CREATION_MITIGATION_POLICY_DEP_ENABLE |
    PROCESS_CREATION_MITIGATION_POLICY_FORCE_RELOCATE_IMAGES_ALWAYS_ON |
    PROCESS_CREATION_MITIGATION_POLICY_HEAP_TERMINATE_ALWAYS_ON |
    PROCESS_CREATION_MITIGATION_POLICY_BOTTOM_UP_ASLR_ALWAYS_ON |
    PROCESS_CREATION_MITIGATION_POLICY_HIGH_ENTROPY_ASLR_ALWAYS_ON |
    PROCESS_CREATION_MITIGATION_POLICY_EXTENSION_POINT_DISABLE_ALWAYS_ON |
    PROCESS_CREATION_MITIGATION_POLICY_PROHIBIT_DYNAMIC_CODE_ALWAYS_ON |
    PROCESS_CREATION_MITIGATION_POLICY_FONT_DISABLE_ALWAYS_ON |
    PROCESS_CREATION_MITIGATION_POLICY_IMAGE_LOAD_NO_REMOTE_ALWAYS_ON |
    PROCESS_CREATION_MITIGATION_POLICY_IMAGE_LOAD_NO_LOW_LABEL_ALWAYS_ON |
    PROCESS_CREATION_MITIGATION_POLICY_IMAGE_LOAD_PREFER_SYSTEM32_ALWAYS_ON;

/// What a child gets and is kept from, as attributes of its start.
class StartAttributes {
public:
    explicit StartAttributes(std::array<HANDLE, 2> handles) : handles_(handles) {
        SIZE_T size = 0;
        InitializeProcThreadAttributeList(nullptr, kMostAttributes, 0, &size);
        room_.resize(size);
        valid_ = InitializeProcThreadAttributeList(get(), kMostAttributes, 0, &size) != 0;
    }

    StartAttributes(const StartAttributes&) = delete;
    StartAttributes& operator=(const StartAttributes&) = delete;

    ~StartAttributes() {
        if (valid_)
            DeleteProcThreadAttributeList(get());
    }

    /// The handles only.
    bool set() { return add(PROC_THREAD_ATTRIBUTE_HANDLE_LIST, handles_); }

    /// Also what is kept from it.
    bool confine() {
        return add(PROC_THREAD_ATTRIBUTE_MITIGATION_POLICY, mitigations_) &&
               add(PROC_THREAD_ATTRIBUTE_CHILD_PROCESS_POLICY, children_);
    }

    [[nodiscard]] LPPROC_THREAD_ATTRIBUTE_LIST get() {
        return reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(room_.data());
    }

private:
    static constexpr DWORD kMostAttributes = 3;

    template <class Value>
    bool add(DWORD_PTR attribute, Value& value) {
        return valid_ && UpdateProcThreadAttribute(get(), 0, attribute, &value, sizeof value,
                                                   nullptr, nullptr) != 0;
    }

    // The list only points to them.
    std::array<HANDLE, 2> handles_;
    DWORD64 mitigations_ = kMitigations;
    DWORD children_ = PROCESS_CREATION_CHILD_PROCESS_RESTRICTED;
    std::vector<std::uint8_t> room_;
    bool valid_ = false;
};

/// For paths and plain words: neither holds quotes nor ends in a backslash.
std::wstring quoted(const std::wstring& word) {
    return L'"' + word + L'"';
}

DWORD millisecondsUntil(ChildProcess::Deadline deadline) {
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    return static_cast<DWORD>(
        std::clamp<std::int64_t>(left.count(), 0, std::numeric_limits<int>::max()));
}

/// A process whose one thread has not run yet.
struct Suspended {
    Handle process;
    Handle thread;
};

/// Starts `commandLine` with nothing but its ends of the pipes.
bool startSuspended(const std::wstring& program, std::wstring commandLine, const Pipe& input,
                    const Pipe& output, ChildRights rights, Suspended& child) {
    constexpr DWORD kFlags = CREATE_SUSPENDED | CREATE_NO_WINDOW | EXTENDED_STARTUPINFO_PRESENT;
    StartAttributes attributes({input.childs.get(), output.childs.get()});
    STARTUPINFOEXW startup{};
    startup.StartupInfo.cb = sizeof startup;
    startup.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
    startup.StartupInfo.hStdInput = input.childs.get();
    startup.StartupInfo.hStdOutput = output.childs.get();
    startup.lpAttributeList = attributes.get();
    PROCESS_INFORMATION started{};
    const auto keep = [&](BOOL success) {
        if (success == 0)
            return false;
        child.process = Handle(started.hProcess);
        child.thread = Handle(started.hThread);
        return true;
    };
    if (!attributes.set())
        return false;
    if (rights == ChildRights::Same)
        return keep(CreateProcessW(program.c_str(), commandLine.data(), nullptr, nullptr, TRUE,
                                   kFlags, nullptr, nullptr, &startup.StartupInfo, &started));
    const auto least = makeLeastRights();
    // A restricted form of one's own token can be given away without a privilege.
    if (!least || !attributes.confine() ||
        !keep(CreateProcessAsUserW(least->primary.get(), program.c_str(), commandLine.data(),
                                   nullptr, nullptr, TRUE, kFlags, nullptr, nullptr,
                                   &startup.StartupInfo, &started)))
        return false;
    HANDLE thread = child.thread.get();
    if (SetThreadToken(&thread, least->starting.get()) != 0)
        return true;
    TerminateProcess(child.process.get(), 1);
    return false;
}

} // namespace

struct ChildProcess::System {
    System() = default;
    System(const System&) = delete;
    System& operator=(const System&) = delete;

    ~System() { kill(); }

    void kill() const {
        if (job)
            TerminateJobObject(job.get(), 1);
    }

    Handle job;
    Handle input;  ///< Where the child reads from.
    Handle output; ///< Where it writes to.
};

ChildProcess::ChildProcess() = default;

ChildProcess::~ChildProcess() {
    end();
}

bool ChildProcess::start(const std::wstring& path, const std::vector<std::wstring>& arguments,
                         const ChildLimits& limits) {
    end();
    const auto program = systemPath(path);
    auto system = std::make_unique<System>();
    system->job = makeJob(limits);
    Pipe input;
    Pipe output;
    if (!program || program->empty() || !system->job || !makePipe(Direction::ToChild, input) ||
        !makePipe(Direction::FromChild, output))
        return false;
    system->input = std::move(input.ours);
    system->output = std::move(output.ours);

    std::wstring commandLine = quoted(*program);
    for (const std::wstring& argument : arguments)
        commandLine += L' ' + quoted(argument);
    Suspended child;
    if (!startSuspended(*program, std::move(commandLine), input, output, limits.rights, child))
        return false;
    if (AssignProcessToJobObject(system->job.get(), child.process.get()) == 0) {
        TerminateProcess(child.process.get(), 1);
        return false;
    }
    if (ResumeThread(child.thread.get()) == static_cast<DWORD>(-1))
        return false; // It ends with its job.
    const std::lock_guard lock(mutex_);
    system_ = std::move(system);
    return true;
}

bool ChildProcess::exchange(std::span<const std::uint8_t> bytes, std::size_t wanted,
                            Deadline deadline) {
    if (system_ == nullptr)
        return false;
    std::array<std::uint8_t, kPipeBuffer> buffer; // NOLINT: filled by the reads
    const std::size_t mostAhead = std::max(wanted, kMostAhead);
    Transfer writing(system_->input.get());
    Transfer reading(system_->output.get());
    const auto keep = [&](DWORD got) {
        ahead_.insert(ahead_.end(), buffer.begin(), buffer.begin() + got);
    };
    bool good = true;
    while (good && (!bytes.empty() || ahead_.size() < wanted)) {
        if (!reading.underWay() && ahead_.size() < mostAhead)
            good = reading.read(
                std::span(buffer).first(std::min(buffer.size(), mostAhead - ahead_.size())));
        if (good && !writing.underWay() && !bytes.empty())
            good = writing.write(bytes);
        std::array<HANDLE, 2> events{};
        DWORD count = 0;
        for (const Transfer* transfer : {&reading, &writing}) {
            if (transfer->underWay())
                events[count++] = transfer->event();
        }
        if (!good || WaitForMultipleObjects(count, events.data(), FALSE,
                                            millisecondsUntil(deadline)) >= count) {
            good = false;
            break;
        }
        DWORD moved = 0;
        if (reading.underWay() && WaitForSingleObject(reading.event(), 0) == WAIT_OBJECT_0) {
            good = reading.take(moved);
            if (good)
                keep(moved);
        }
        if (good && writing.underWay() &&
            WaitForSingleObject(writing.event(), 0) == WAIT_OBJECT_0) {
            good = writing.take(moved);
            if (good)
                bytes = bytes.subspan(moved);
        }
    }
    // What a read that is no longer waited for has got is not lost.
    DWORD moved = 0;
    if (reading.underWay() && reading.cancel(moved))
        keep(moved);
    return good;
}

void ChildProcess::kill() {
    const std::lock_guard lock(mutex_);
    if (system_ != nullptr)
        system_->kill();
}

void ChildProcess::end() {
    std::unique_ptr<System> ended;
    {
        const std::lock_guard lock(mutex_);
        ended = std::move(system_);
    }
    ahead_.clear();
}

std::wstring programBesideThis(std::wstring_view name) {
    constexpr DWORD kLongestPath = 32768;
    std::wstring path(kLongestPath, L'\0');
    path.resize(GetModuleFileNameW(nullptr, path.data(), kLongestPath));
    const std::size_t separator = path.find_last_of(L"\\/");
    if (separator == std::wstring::npos)
        return {};
    path.resize(separator + 1);
    return path.append(name).append(L".exe");
}

} // namespace platform
