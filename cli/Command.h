#pragma once

#include "cli/ExitCode.h"

#include <QCommandLineParser>
#include <QString>
#include <QStringList>

/// One row of the table of the program's commands.
struct Command {
    QString name;
    QString summary;       ///< One line for the list of commands.
    QString description;   ///< What comes before the options in the help.
    QString examples;      ///< Lines that can be typed.
    QStringList arguments; ///< Their names; all must be given.

    void (*addOptions)(QCommandLineParser& parser);

    /// Does it. Throws `CommandError`, and `Interruption::Stop` while it prints.
    ExitCode (*run)(const QCommandLineParser& parser);
};
