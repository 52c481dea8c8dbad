#pragma once

#include "cli/Command.h"

#include <QStringList>

#include <vector>

/// The program as its user knows it: picks a command by the first argument and runs it.
class Program {
public:
    Program();

    /// `arguments` without the program's name.
    [[nodiscard]] ExitCode run(const QStringList& arguments) const;

private:
    [[nodiscard]] ExitCode dispatch(const QStringList& arguments) const;
    [[nodiscard]] const Command* find(const QString& name) const;
    [[nodiscard]] QString help() const;

    std::vector<Command> commands_;
};
