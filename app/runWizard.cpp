#include "app/runWizard.h"

#include "app/MainWindow.h"
#include "platform/DriveService.h"
#include "platform/desktop/Elevation.h"

#include <QApplication>
#include <QFontDatabase>

int runWizard() {
    platform::askDriveService();
    initialiseCom();
    QFontDatabase::addApplicationFont(QStringLiteral(":/fonts/OpenSans"));
    MainWindow window;
    window.show();
    return QApplication::exec();
}
