#include "platform/desktop/Elevation.h"

#include <QDir>
#include <QFile>
#include <QMessageBox>
#include <QStandardPaths>
#include <QStringList>
#include <QThread>

#include <algorithm>
#include <array>
#include <optional>
#include <vector>

#include <spawn.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr auto kPkexec = "pkexec";
/// Exit codes of pkexec when the user declined, and when it could not ask or start anything.
constexpr int kRefused = 126;
constexpr int kNotStarted = 127;

/// The actions that come with Orvane, as polkit names its files.
constexpr auto kActionFiles = "com.kestrineresearch.orvane*.policy";

constexpr unsigned long kPollMilliseconds = 50;

/// What tells a graphical program where and how large to draw; handed on as it is.
constexpr const char* kDisplayVariables[] = {"DISPLAY", "XDG_SESSION_TYPE", "QT_SCALE_FACTOR",
                                             "QT_SCREEN_SCALE_FACTORS", "QT_FONT_DPI"};

/// Says which of Qt's plug-ins draws. Others than these, such as one that lets the network in, are
/// none of an administrator's.
constexpr const char* kPlatformVariable = "QT_QPA_PLATFORM";
constexpr std::array kKnownPlatforms = {"xcb", "wayland", "wayland-egl"};

QString assignment(const QString& name, const QString& value) {
    return name + QLatin1Char('=') + value;
}

bool isKnownPlatform(const QString& name) {
    return std::any_of(kKnownPlatforms.begin(), kKnownPlatforms.end(),
                       [&name](const char* known) { return name == QLatin1String(known); });
}

/// The variables, as arguments of env(1), that let another user's process use this display:
/// pkexec starts programs with next to no environment.
QStringList displayEnvironment() {
    QStringList variables;
    for (const char* name : kDisplayVariables) {
        if (qEnvironmentVariableIsSet(name))
            variables << assignment(QString::fromLatin1(name), qEnvironmentVariable(name));
    }
    // It may name several, in the order to be tried, with options behind a colon.
    const QString platforms = qEnvironmentVariable(kPlatformVariable);
    const QStringList named = platforms.split(QLatin1Char(';'));
    if (std::all_of(named.begin(), named.end(), isKnownPlatform))
        variables << assignment(QString::fromLatin1(kPlatformVariable), platforms);
    // What X takes when the variable is not set lies in the home of whoever asks.
    const QString authority =
        qEnvironmentVariable("XAUTHORITY", QDir::home().filePath(QStringLiteral(".Xauthority")));
    if (QFile::exists(authority))
        variables << assignment(QStringLiteral("XAUTHORITY"), authority);
    // By its whole path, so that root leaves no files of its own in the user's runtime folder.
    const QString wayland = qEnvironmentVariable("WAYLAND_DISPLAY");
    if (!wayland.isEmpty())
        variables << assignment(
            QStringLiteral("WAYLAND_DISPLAY"),
            QDir(qEnvironmentVariable("XDG_RUNTIME_DIR")).absoluteFilePath(wayland));
    return variables;
}

/// The name of the program that a process runs now; nothing when that cannot be learned.
std::optional<QByteArray> programOf(pid_t process) {
    QFile name(QStringLiteral("/proc/%1/comm").arg(process));
    if (!name.open(QIODevice::ReadOnly))
        return std::nullopt;
    return name.readAll().trimmed();
}

/// Gives the calling thread, and so the children it starts, another name while it lives.
class ThreadName {
public:
    explicit ThreadName(const char* name) {
        ::prctl(PR_GET_NAME, before_.data());
        ::prctl(PR_SET_NAME, name);
    }

    ThreadName(const ThreadName&) = delete;
    ThreadName& operator=(const ThreadName&) = delete;

    ~ThreadName() { ::prctl(PR_SET_NAME, before_.data()); }

private:
    static constexpr std::size_t kLength = 16; // What the system keeps, with the final 0.
    std::array<char, kLength> before_{};
};

/// Starts pkexec with these arguments; 0 when that fails. The child has the name of pkexec from
/// its first moment, so that another name always means another program.
pid_t startPkexec(const std::vector<char*>& arguments) {
    const ThreadName name(kPkexec);
    pid_t child = 0;
    const int error =
        ::posix_spawn(&child, arguments.front(), nullptr, nullptr, arguments.data(), environ);
    return error == 0 ? child : 0;
}

/// Waits until pkexec, our child, has asked the user. It turns into the program when the user
/// agrees and ends when not, and it insists on a living parent meanwhile.
bool waitForConsent(pid_t child) {
    for (;;) {
        int status = 0;
        const pid_t ended = ::waitpid(child, &status, WNOHANG);
        if (ended != 0) // A code other than these two is that of the program, soon done.
            return ended == child && WIFEXITED(status) && WEXITSTATUS(status) != kRefused &&
                   WEXITSTATUS(status) != kNotStarted;
        const std::optional<QByteArray> name = programOf(child);
        if (name && *name != kPkexec)
            return true;
        QThread::msleep(kPollMilliseconds);
    }
}

/// Whether an action of polkit is made for this program: pkexec then names the program in its
/// question, and hands on what an X display needs by itself.
bool hasAction(const QString& program) {
    const QDir actions(QStringLiteral("/usr/share/polkit-1/actions"));
    for (const QString& name :
         actions.entryList({QString::fromLatin1(kActionFiles)}, QDir::Files)) {
        QFile action(actions.filePath(name));
        if (action.open(QIODevice::ReadOnly) && action.readAll().contains(QFile::encodeName(
                                                    QLatin1Char('>') + program + QLatin1Char('<'))))
            return true;
    }
    return false;
}

/// What pkexec is to start: the program itself where that is enough, else env(1), which tells it
/// where to draw.
QStringList elevatedCommand(const QString& program, const QString& argument) {
    const QStringList variables = displayEnvironment();
    const bool needsOnlyX =
        std::all_of(variables.begin(), variables.end(), [](const QString& variable) {
            const QStringList kept{QStringLiteral("DISPLAY"), QStringLiteral("XAUTHORITY"),
                                   QStringLiteral("XDG_SESSION_TYPE")};
            return kept.contains(variable.section(QLatin1Char('='), 0, 0));
        });
    if (needsOnlyX && hasAction(program))
        return {program, argument};
    const QString env = QStandardPaths::findExecutable(QStringLiteral("env"));
    if (env.isEmpty())
        return {};
    return QStringList{env} + variables + QStringList{program, argument};
}

} // namespace

bool isAdmin() {
    return ::geteuid() == 0;
}

bool relaunchElevated(const QString& program, const QString& argument) {
    const QString pkexec = QStandardPaths::findExecutable(QString::fromLatin1(kPkexec));
    const QStringList command = elevatedCommand(program, argument);
    if (pkexec.isEmpty() || command.isEmpty())
        return false;
    const QStringList words = QStringList{pkexec} + command;
    std::vector<QByteArray> bytes;
    bytes.reserve(static_cast<std::size_t>(words.size()));
    for (const QString& word : words)
        bytes.push_back(QFile::encodeName(word));
    std::vector<char*> arguments;
    arguments.reserve(bytes.size() + 1);
    for (QByteArray& word : bytes)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);

    const pid_t child = startPkexec(arguments);
    return child != 0 && waitForConsent(child);
}

void showMessageBeforeWindows(const QString& text, const QString& caption) {
    QMessageBox::information(nullptr, caption, text);
}

void initialiseCom() {} // Nothing to prepare here.
