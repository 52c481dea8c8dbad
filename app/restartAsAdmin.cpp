#include "app/restartAsAdmin.h"

#include "platform/DriveService.h"
#include "platform/desktop/Elevation.h"

#include <QCoreApplication>
#include <QStringList>

bool restartAsAdmin() {
    // Marks the instance that was started with rights, so that it never starts another.
    const QString restarted = QStringLiteral("--restart-as-admin");
    if (isAdmin() || QCoreApplication::arguments().contains(restarted) ||
        platform::hasDriveService())
        return false;
    if (!relaunchElevated(QCoreApplication::applicationFilePath(), restarted))
        showMessageBeforeWindows(
            QCoreApplication::translate("main", "Please, restart Orvane using admin credentials"),
            QStringLiteral("Orvane"));
    return true;
}
