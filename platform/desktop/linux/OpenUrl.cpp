#include "platform/desktop/OpenUrl.h"

#include <QDesktopServices>
#include <QFile>
#include <QProcess>
#include <QStringList>
#include <QUrl>

#include <pwd.h>
#include <unistd.h>

namespace {

/// The user who became root with pkexec to start this process; null when nobody did.
const passwd* userBeforePkexec() {
    bool isNumber = false;
    const uid_t user = qEnvironmentVariable("PKEXEC_UID").toUInt(&isNumber);
    // Only the window's thread asks.
    // cppcheck-suppress getpwuidCalled
    return isNumber && ::geteuid() == 0 ? ::getpwuid(user) : nullptr;
}

/// Opens the address in the user's own session: root must not browse, and most browsers refuse
/// to run for it.
void openAs(const passwd& user, const QString& url) {
    const QString runtime = QStringLiteral("/run/user/%1").arg(user.pw_uid);
    QProcess::startDetached(
        QStringLiteral("runuser"),
        {QStringLiteral("-u"), QFile::decodeName(user.pw_name), QStringLiteral("--"),
         QStringLiteral("env"), QStringLiteral("HOME=") + QFile::decodeName(user.pw_dir),
         QStringLiteral("XDG_RUNTIME_DIR=") + runtime,
         QStringLiteral("DBUS_SESSION_BUS_ADDRESS=unix:path=%1/bus").arg(runtime),
         QStringLiteral("xdg-open"), url});
}

} // namespace

void openUrl(const QString& url) {
    const QUrl address(url, QUrl::StrictMode);
    if (address.isEmpty() || !address.isValid())
        return;
    if (const passwd* user = userBeforePkexec())
        openAs(*user, address.toString(QUrl::FullyEncoded));
    else
        QDesktopServices::openUrl(address);
}
