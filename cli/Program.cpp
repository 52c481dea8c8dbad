#include "cli/Program.h"

#include "cli/CommandError.h"
#include "cli/Interruption.h"
#include "cli/Output.h"
#include "cli/drivesCommand.h"
#include "cli/recoverCommand.h"
#include "cli/scanCommand.h"

#include <QCommandLineParser>

#include <new>

namespace {

const QString kHelp = QStringLiteral("help");

bool asksForHelp(const QString& argument) {
    return argument == QStringLiteral("--help") || argument == QStringLiteral("-h") ||
           argument == kHelp;
}

bool asksForVersion(const QString& argument) {
    return argument == QStringLiteral("--version") || argument == QStringLiteral("-v");
}

CommandError wrongUsage(const QString& problem, const QString& command = {}) {
    const QString asked = command.isEmpty() ? command : command + QStringLiteral(" ");
    return {ExitCode::WrongUsage,
            QStringLiteral("%1\nTry \"orvane-cli %2--help\".").arg(problem, asked)};
}

QString usageOf(const Command& command) {
    QString usage = QStringLiteral("orvane-cli ") + command.name;
    for (const QString& argument : command.arguments)
        usage += QStringLiteral(" ") + argument;
    return usage;
}

QString helpOf(const Command& command, const QCommandLineParser& parser) {
    // The parser's own usage line names neither the command nor its arguments.
    const QString options = parser.helpText();
    return QStringLiteral("Usage: %1 [options]\n\n%2\n\n%3\nExamples:\n%4")
        .arg(usageOf(command), command.description,
             options.mid(options.indexOf(QStringLiteral("Options:"))), command.examples);
}

void show(const QString& text) {
    Output output;
    for (const QString& line : text.trimmed().split(u'\n'))
        output.print(line);
    output.flush();
}

/// An option that may stand alone gets the value that this means.
QStringList withValues(QStringList arguments) {
    for (QString& argument : arguments) {
        if (argument == QStringLiteral("--deep"))
            argument += QStringLiteral("=all");
    }
    return arguments;
}

ExitCode runCommand(const Command& command, const QStringList& arguments) {
    QCommandLineParser parser;
    parser.addOption({{QStringLiteral("h"), kHelp}, QStringLiteral("Show this help.")});
    command.addOptions(parser);
    const bool understood = parser.parse(QStringList(QStringLiteral("orvane-cli")) + arguments);
    if (parser.isSet(kHelp)) {
        show(helpOf(command, parser));
        return ExitCode::Done;
    }
    if (!understood)
        throw wrongUsage(parser.errorText(), command.name);
    const QStringList given = parser.positionalArguments();
    const QStringList& expected = command.arguments;
    if (given.size() < expected.size())
        throw wrongUsage(QStringLiteral("%1 needs %2").arg(command.name, expected[given.size()]),
                         command.name);
    if (given.size() > expected.size())
        throw wrongUsage(QStringLiteral("\"%1\" is too much").arg(given[expected.size()]),
                         command.name);
    return command.run(parser);
}

} // namespace

Program::Program() : commands_{drivesCommand(), scanCommand(), recoverCommand()} {}

ExitCode Program::run(const QStringList& arguments) const {
    try {
        return dispatch(arguments);
    } catch (const CommandError& error) {
        printError(error.message);
        return error.code;
    } catch (const Interruption::Stop&) {
        printError(QStringLiteral("stopped"));
        return ExitCode::Stopped;
    } catch (const Output::ClosedPipe&) {
        return ExitCode::SomeFailed;
    } catch (const std::bad_alloc&) {
        printError(QStringLiteral("not enough memory"));
        return ExitCode::SomeFailed;
    }
}

ExitCode Program::dispatch(const QStringList& arguments) const {
    if (arguments.isEmpty())
        throw wrongUsage(QStringLiteral("no command is given"));
    const QString& first = arguments.constFirst();
    if (asksForHelp(first) && arguments.size() == 1) {
        show(help());
        return ExitCode::Done;
    }
    if (asksForVersion(first)) {
        show(QStringLiteral("orvane-cli " ORVANE_VERSION));
        return ExitCode::Done;
    }
    if (first == kHelp && find(arguments[1]) != nullptr)
        return runCommand(*find(arguments[1]), {QStringLiteral("--help")});
    const Command* command = find(first);
    if (command == nullptr)
        throw wrongUsage(QStringLiteral("\"%1\" is no command").arg(first));
    return runCommand(*command, withValues(arguments.mid(1)));
}

const Command* Program::find(const QString& name) const {
    for (const Command& command : commands_) {
        if (command.name == name)
            return &command;
    }
    return nullptr;
}

QString Program::help() const {
    constexpr int kNameColumns = 10;
    QString text = QStringLiteral(
        "Usage: orvane-cli COMMAND ...\n\n"
        "Finds deleted files on NTFS, exFAT and FAT drives and copies them out. Never writes to\n"
        "the drive that is read.\n\nCommands:\n");
    QString examples;
    for (const Command& command : commands_) {
        text += QStringLiteral("  ") + command.name.leftJustified(kNameColumns) + command.summary +
                QStringLiteral("\n");
        examples += command.examples;
    }
    return text +
           QStringLiteral("\n\"orvane-cli COMMAND --help\" tells more of each. "
                          "\"orvane-cli --version\" tells the version.\n"
                          "\nExamples:\n%1\n"
                          "Exit codes:\n"
                          "  0    everything was done\n"
                          "  1    some files could not be recovered, or only in part\n"
                          "  2    wrong usage\n"
                          "  3    the source cannot be opened, or is neither NTFS, exFAT nor FAT\n"
                          "  4    the output directory is refused or cannot be written\n"
                          "  130  stopped by Ctrl-C\n")
               .arg(examples);
}
