#pragma once

#include "cli/Command.h"

/// Scans a source and prints what is found.
class ScanCommand : public Command {
public:
    [[nodiscard]] QString name() const override;
    [[nodiscard]] QString summary() const override;
    [[nodiscard]] QString description() const override;
    [[nodiscard]] QString examples() const override;
    [[nodiscard]] QStringList arguments() const override;
    void addOptions(QCommandLineParser& parser) const override;
    [[nodiscard]] ExitCode run(const QCommandLineParser& parser) const override;
};
