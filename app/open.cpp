#include "app/SampleDrives.h"
#include "app/identity.h"
#include "app/runWizard.h"
#include "model/texts.h"
#include "platform/Drives.h"
#include "platform/Terminal.h"
#include "platform/desktop/Elevation.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QTimer>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <optional>

namespace {

constexpr int kBadArgument = 2;
constexpr int kInterrupted = 130; ///< As shells give it for Ctrl-C.
constexpr std::chrono::milliseconds kInterruptPoll{200};

std::atomic<bool> interrupted{false};

QStringList imagesToOpen(const QStringList& arguments) {
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Starts the Orvane wizard with disk images attached as drives. Images are only read.\n"
        "Without an image it attaches copies of the built-in sample drives."));
    parser.addHelpOption();
    parser.addVersionOption();
    parser.addPositionalArgument(QStringLiteral("image"),
                                 QStringLiteral("Disk images, with or without partitions."),
                                 QStringLiteral("[IMAGE...]"));
    if (!parser.parse(arguments))
        throw parser.errorText();
    if (parser.isSet(QStringLiteral("help")))
        parser.showHelp();
    if (parser.isSet(QStringLiteral("version")))
        parser.showVersion();
    return parser.positionalArguments();
}

void attach(const QString& image) {
    const platform::AttachResult result = platform::attachImage(toWide(image));
    const bool hasVolume =
        std::any_of(result.drives.begin(), result.drives.end(),
                    [](const platform::Drive& drive) { return !drive.fileSystem.empty(); });
    if (hasVolume)
        return;
    const QString reason = result.drives.empty()
                               ? toQString(result.error)
                               : QStringLiteral("The image holds no NTFS, exFAT or FAT volume.");
    throw image + QStringLiteral(": ") + reason;
}

} // namespace

int main(int argc, char** argv) {
    platform::useUtf8Terminal();
    const QApplication application(argc, argv);
    setIdentity();
    try {
        QStringList images = imagesToOpen(QCoreApplication::arguments());
        std::optional<SampleDrives> samples;
        if (images.isEmpty())
            images = samples.emplace().images();
        for (const QString& image : images)
            attach(image);

        // Ctrl-C ends the program without a question, but leaves no sample drives behind.
        platform::onInterrupt(interrupted);
        QTimer poll;
        QObject::connect(&poll, &QTimer::timeout, &poll, [&samples] {
            if (!interrupted)
                return;
            samples.reset();
            std::_Exit(kInterrupted);
        });
        poll.start(kInterruptPoll);
        return runWizard();
    } catch (const QString& message) {
        if (platform::isConnected(platform::StandardStream::Error))
            std::fprintf(stderr, "orvane-open: %s\n", message.toUtf8().constData());
        else
            showMessageBeforeWindows(message, QCoreApplication::applicationName());
        return kBadArgument;
    }
}
