#include "app/runWizard.h"

#include "app/MainWindow.h"
#include "platform/desktop/Elevation.h"

#include <QApplication>
#include <QFontDatabase>

int runWizard() {
    initialiseCom();
    QFontDatabase::addApplicationFont(QStringLiteral(":/fonts/OpenSans"));
    MainWindow window;
    window.show();
    return QApplication::exec();
}
