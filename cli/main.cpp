#include "cli/Interruption.h"
#include "cli/Program.h"
#include "platform/DriveService.h"
#include "platform/Terminal.h"

#include <QCoreApplication>

#include <cstdio>
#include <cstring>

namespace {

/// Only what this program itself has to say is for the user.
void showOwnMessages(QtMsgType /*type*/, const QMessageLogContext& context, const QString& text) {
    if (context.category != nullptr && std::strncmp(context.category, "orvane", 6) == 0)
        std::fprintf(stderr, "%s\n", qPrintable(text));
}

} // namespace

int main(int argc, char** argv) {
    qInstallMessageHandler(showOwnMessages);
    const QCoreApplication application(argc, argv);
    platform::useUtf8Terminal();
    platform::askDriveService();
    Interruption::watch();
    return static_cast<int>(Program().run(QCoreApplication::arguments().mid(1)));
}
