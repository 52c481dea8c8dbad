#include "cli/drivesCommand.h"

#include "cli/Output.h"
#include "format/JsonLine.h"
#include "model/texts.h"
#include "platform/Drives.h"

#include <algorithm>
#include <vector>

namespace {

using platform::Drive;
using platform::DriveKind;

const QString kJson = QStringLiteral("json");

void printJson(const std::vector<Drive>& drives, Output& output) {
    for (const Drive& drive : drives) {
        format::JsonLine line;
        line.add("letter", std::string_view(&drive.letter, 1))
            .add("label", drive.volumeName)
            .add("fileSystem", std::string_view(drive.fileSystem))
            .add("size", kova::uint64{drive.sizeBytes})
            .add("removable", drive.kind == DriveKind::Removable)
            .add("device", drive.device);
        output.printRaw(line.text());
    }
}

void printTable(const std::vector<Drive>& drives, Output& output) {
    std::vector<QStringList> rows{{QStringLiteral("Drive"), QStringLiteral("Label"),
                                   QStringLiteral("File system"), QStringLiteral("Size"),
                                   QStringLiteral("Removable"), QStringLiteral("Device")}};
    for (const Drive& drive : drives)
        rows.push_back(
            {QChar::fromLatin1(drive.letter) + QStringLiteral(":"),
             displayName(toQString(drive.volumeName)), QString::fromStdString(drive.fileSystem),
             formatSize(static_cast<kova::int64>(drive.sizeBytes)),
             drive.kind == DriveKind::Removable ? QStringLiteral("yes") : QStringLiteral("no"),
             displayName(toQString(drive.device))});
    std::vector<qsizetype> widths(static_cast<std::size_t>(rows.front().size()));
    for (const QStringList& row : rows) {
        for (qsizetype i = 0; i < row.size(); ++i) {
            auto& width = widths[static_cast<std::size_t>(i)];
            width = std::max(width, row[i].size());
        }
    }
    for (const QStringList& row : rows) {
        QString line;
        for (qsizetype i = 0; i + 1 < row.size(); ++i)
            line += row[i].leftJustified(widths[static_cast<std::size_t>(i)] + 2);
        output.print(line + row.constLast());
    }
}

void addOptions(QCommandLineParser& parser) {
    parser.addOption({kJson, QStringLiteral("Print one JSON object per drive and line.")});
}

ExitCode run(const QCommandLineParser& parser) {
    const std::vector<Drive> drives = platform::listDrives();
    Output output;
    if (parser.isSet(kJson))
        printJson(drives, output);
    else if (!drives.empty())
        printTable(drives, output);
    output.flush();
    if (drives.empty())
        printNotice(QStringLiteral("No drive with NTFS, FAT or exFAT was found. Without "
                                   "administrator rights drives may not be recognised:\nrun the "
                                   "command with \"sudo\", or on Windows in a terminal that was "
                                   "opened \"as administrator\"."));
    return ExitCode::Done;
}

} // namespace

Command drivesCommand() {
    return {
        .name = QStringLiteral("drives"),
        .summary = QStringLiteral("List the drives that hold NTFS, FAT or exFAT."),
        .description =
            QStringLiteral("Lists the drives that hold NTFS, FAT or exFAT, with the letters that "
                           "the other\ncommands take."),
        .examples = QStringLiteral("  orvane-cli drives\n"
                                   "  orvane-cli drives --json\n"),
        .arguments = {},
        .addOptions = addOptions,
        .run = run,
    };
}
