#include "app/SampleDrives.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QProcess>

namespace {

/// Where an installed program has the samples, and where else this build has them.
QStringList sampleFolders() {
    const QDir program(QCoreApplication::applicationDirPath());
    return {program.filePath(QStringLiteral("../share/orvane/samples")),
            program.filePath(QStringLiteral(ORVANE_SAMPLES))};
}

/// Packed, or where nothing may be at hand to unpack them, as they are.
QFileInfoList findSamples() {
    for (const QString& folder : sampleFolders()) {
        for (const char* const names : {"*.img.xz", "*.img"}) {
            QFileInfoList samples =
                QDir(folder).entryInfoList({QString::fromLatin1(names)}, QDir::Files, QDir::Name);
            if (!samples.isEmpty())
                return samples;
        }
    }
    return {};
}

void unpack(const QString& packed, const QString& target) {
    constexpr int kNoTimeout = -1;
    QProcess xz;
    xz.setStandardOutputFile(target);
    xz.start(QStringLiteral("xz"), {QStringLiteral("-dc"), packed});
    if (!xz.waitForFinished(kNoTimeout))
        throw QStringLiteral("xz, which unpacks the sample drives, cannot be started: ") +
            xz.errorString();
    if (xz.exitStatus() != QProcess::NormalExit || xz.exitCode() != 0)
        throw packed + QStringLiteral(" cannot be unpacked: ") +
            QString::fromLocal8Bit(xz.readAllStandardError()).trimmed();
}

} // namespace

SampleDrives::SampleDrives() {
    if (!folder_.isValid())
        throw folder_.errorString();
    for (const QFileInfo& sample : findSamples()) {
        if (sample.suffix() != QLatin1String("xz")) {
            images_.append(sample.filePath());
            continue;
        }
        images_.append(folder_.filePath(sample.completeBaseName()));
        unpack(sample.filePath(), images_.constLast());
    }
    if (images_.isEmpty())
        throw QStringLiteral("The sample drives are not where this program was installed.");
}
