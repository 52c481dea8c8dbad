#pragma once

#include "cli/ExitCode.h"

#include <QCommandLineParser>
#include <QString>
#include <QStringList>

/// One of the program's commands.
class Command {
public:
    Command() = default;
    Command(const Command&) = delete;
    Command& operator=(const Command&) = delete;
    virtual ~Command() = default;

    [[nodiscard]] virtual QString name() const = 0;

    /// One line for the list of commands.
    [[nodiscard]] virtual QString summary() const = 0;

    /// What comes before the options in the help: the arguments and what the command does.
    [[nodiscard]] virtual QString description() const = 0;

    /// Lines that can be typed, and what they do.
    [[nodiscard]] virtual QString examples() const = 0;

    /// Names of the arguments, all of which must be given.
    [[nodiscard]] virtual QStringList arguments() const = 0;

    virtual void addOptions(QCommandLineParser& parser) const = 0;

    /// Does it. Throws `CommandError`, and `Interruption::Stop` while it prints.
    [[nodiscard]] virtual ExitCode run(const QCommandLineParser& parser) const = 0;
};
