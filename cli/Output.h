#pragma once

#include <QString>

#include <string>
#include <string_view>

/// Standard output: UTF-8, buffered, and fit for a terminal if it is one.
class Output {
public:
    Output();
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;
    /// Writes what is left. Call `flush` first to learn whether that succeeds.
    ~Output();

    /// Whether `text` is cleaned, see `displayName`, before it is printed.
    [[nodiscard]] bool isTerminal() const { return isTerminal_; }

    /// Prints one line; `line` has no line end of its own. Throws `CommandError` when writing
    /// fails, `ClosedPipe` when nobody reads any more.
    void print(const QString& line);

    /// Prints bytes as they are, adding a line end.
    void printRaw(std::string_view line);

    /// Writes what has been printed so far.
    void flush();

    /// The reader of the output has gone: no reason to complain, nor to go on.
    struct ClosedPipe {};

private:
    void append(std::string_view line);

    bool isTerminal_;
    std::string buffer_;
};

/// Prints lines to standard error, cleaned as for a terminal. Each begins with the program's name.
void printError(const QString& message);

/// Prints lines to standard error that say how things went.
void printNotice(const QString& message);
