#include "cli/recoverCommand.h"

#include "cli/CommandError.h"
#include "cli/Filters.h"
#include "cli/OutputDirectory.h"
#include "cli/Picks.h"
#include "cli/Recovery.h"
#include "cli/ReportFile.h"
#include "cli/Source.h"
#include "workers/promiseTexts.h"

#include <optional>

namespace {

using ExistingFile = RecoveryWorker::ExistingFile;

const QString kTo = QStringLiteral("to");
const QString kId = QStringLiteral("id");
const QString kPath = QStringLiteral("path");
const QString kOverwrite = QStringLiteral("overwrite");
const QString kForceOutput = QStringLiteral("force-output");
const QString kVerify = QStringLiteral("verify");
const QString kReport = QStringLiteral("report");
const QString kKeepTimes = QStringLiteral("keep-times");

Picks picksIn(const QCommandLineParser& parser) {
    Picks picks;
    for (const QString& text : parser.values(kId)) {
        bool isNumber = false;
        picks.ids.push_back(text.toLongLong(&isNumber));
        if (!isNumber)
            throw CommandError{ExitCode::WrongUsage,
                               QStringLiteral("--id: \"%1\" is not a number").arg(text)};
    }
    for (QString path : parser.values(kPath)) {
        if (path.startsWith(u'/'))
            path.remove(0, 1);
        if (path.endsWith(u'/'))
            path.chop(1);
        picks.paths.push_back(path);
    }
    return picks;
}

void addOptions(QCommandLineParser& parser) {
    parser.addOptions({
        {kTo, QStringLiteral("Where to write; created if need be. Has to be given."),
         QStringLiteral("DIR")},
        {kId, QStringLiteral("Recover the file or folder with this id. May be repeated."),
         QStringLiteral("N")},
        {kPath,
         QStringLiteral("Recover what is found at this path, as --list shows it. May be repeated."),
         QStringLiteral("PATH")},
        {kOverwrite, QStringLiteral("Replace files that exist in DIR.")},
        {kForceOutput,
         QStringLiteral("Write to DIR even where it is not known which drive that is. "
                        "Make sure that it is not the one read.")},
        {kKeepTimes, QStringLiteral("Give the files their former times of modification.")},
        {kVerify,
         QStringLiteral("Read every file back from the drive it was written to, and compare.")},
        {kReport,
         QStringLiteral(
             "Also write what was recovered, from where and with SHA-256, to FILE, whose "
             "name ends in .html, .csv or .json. It must not exist."),
         QStringLiteral("FILE")},
    });
    Source::addOptions(parser);
    Filters::addOptions(parser);
}

ExitCode run(const QCommandLineParser& parser) {
    if (!parser.isSet(kTo))
        throw CommandError{ExitCode::WrongUsage, QStringLiteral("recover needs --to DIR")};
    const Filters filters(parser);
    const Picks picks = picksIn(parser);
    const bool overwrite = parser.isSet(kOverwrite);
    std::optional<ReportFile> report;
    if (parser.isSet(kReport))
        report.emplace(parser.value(kReport));

    Source source(parser);
    const OutputDirectory directory(parser.value(kTo), source, overwrite,
                                    parser.isSet(kForceOutput));
    if (report)
        report->check(source, parser.isSet(kForceOutput));
    filters.install(source.tree());
    source.scan();
    const kova::ZTreeListing listing(source.tree());
    const RecoveryList list = picks.listOf(listing, Selection(listing, filters, source.volume()));
    const QString warning = warningOfPromise(promisedBytes(list), source.drive().sizeBytes);
    if (!warning.isEmpty())
        printError(warning);
    Recovery recovery(source, list, directory,
                      {overwrite ? ExistingFile::Replace : ExistingFile::KeepBoth,
                       parser.isSet(kKeepTimes), parser.isSet(kVerify)});
    if (report)
        recovery.reportTo(*report);
    recovery.run();
    recovery.writeReport();
    Output output;
    recovery.report(output);
    return recovery.exitCode();
}

} // namespace

Command recoverCommand() {
    return {
        .name = QStringLiteral("recover"),
        .summary = QStringLiteral("Copy deleted files out to a directory on another drive."),
        .description = QStringLiteral(
            "Finds the deleted files on SOURCE, a drive letter (\"D\" or \"D:\"), a device or a "
            "disk\n"
            "image, and writes them with their folders to DIR, which must be on another drive.\n"
            "Nothing is ever written to SOURCE. Everything found is recovered unless --id or "
            "--path\n"
            "pick files and folders; these are then written directly below DIR. The filters leave\n"
            "out files that do not pass. Existing files are kept: a file whose name is taken "
            "becomes\n"
            "\"name (2).ext\". What could be read of a damaged file is written, too, and "
            "reported."),
        .examples = QStringLiteral(
            "  orvane-cli recover D --to C:/recovered\n"
            "  orvane-cli recover /dev/sdb1 --to ~/recovered --types pictures --keep-times\n"
            "  orvane-cli recover stick.img --to out --path \"Photos/beach.jpg\" --path Letters\n"
            "  orvane-cli recover disk.img --partition 2 --to out --name \"*.doc*\" --max-size "
            "10M\n"),
        .arguments = {QStringLiteral("SOURCE")},
        .addOptions = addOptions,
        .run = run,
    };
}
