#include "cli/scanCommand.h"

#include "cli/CommandError.h"
#include "cli/Filters.h"
#include "cli/ListingPrinter.h"
#include "cli/Source.h"

namespace {

const QString kList = QStringLiteral("list");
const QString kJson = QStringLiteral("json");

void addOptions(QCommandLineParser& parser) {
    parser.addOptions({
        {kList, QStringLiteral("Print one path per line.")},
        {kJson, QStringLiteral("Print one JSON object per file or folder and line. Times are in "
                               "UTC, null when unset or no date.")},
    });
    Source::addOptions(parser);
    Filters::addOptions(parser);
}

ExitCode run(const QCommandLineParser& parser) {
    if (parser.isSet(kList) && parser.isSet(kJson))
        throw CommandError{ExitCode::WrongUsage,
                           QStringLiteral("--list and --json cannot be used together")};
    const Filters filters(parser);
    Source source(parser);
    filters.install(source.tree());
    source.scan();

    const kova::ZTreeListing listing(source.tree());
    const Selection selection(listing, filters, source.volume());
    Output output;
    ListingPrinter printer(listing, selection, source.volume(), output);
    if (parser.isSet(kJson))
        printer.printJson();
    else if (parser.isSet(kList))
        printer.printPaths();
    else
        printer.printTree();
    return ExitCode::Done;
}

} // namespace

Command scanCommand() {
    return {
        .name = QStringLiteral("scan"),
        .summary = QStringLiteral("Show the deleted files on a drive or in a disk image."),
        .description = QStringLiteral(
            "Shows the deleted files on SOURCE: a drive letter (\"D\" or \"D:\"), a device or a "
            "disk\n"
            "image. Nothing is ever written to it. Folders are shown for what was found in them;\n"
            "a \"+\" marks what still exists, a letter before it how much of a file is still its "
            "own.\n"
            "Files whose folder is unknown stand in \"Files with\n"
            "unknown path\". On a terminal, control characters in names are shown as \uFFFD;\n"
            "--json gives every name as it is."),
        .examples =
            QStringLiteral("  orvane-cli scan D\n"
                           "  orvane-cli scan /dev/sdb1 --types pictures,videos\n"
                           "  orvane-cli scan stick.img --list --modified-after 2024-05-01\n"
                           "  orvane-cli scan disk.img --partition 2 --json > found.jsonl\n"),
        .arguments = {QStringLiteral("SOURCE")},
        .addOptions = addOptions,
        .run = run,
    };
}
