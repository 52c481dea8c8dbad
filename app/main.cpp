#include "app/identity.h"
#include "app/restartAsAdmin.h"
#include "app/runWizard.h"

#include <QApplication>

int main(int argc, char** argv) {
    const QApplication application(argc, argv);
    setIdentity();
    return restartAsAdmin() ? 0 : runWizard();
}
