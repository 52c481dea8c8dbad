#pragma once

#include <QString>

#include <chrono>

/// One line on standard error that is redrawn while something takes its time. Says nothing when
/// standard error is no terminal.
class Progress {
public:
    Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    ~Progress() { clear(); }

    /// Whether to call `show` now; true a few times a second.
    [[nodiscard]] bool isDue() const;

    void show(const QString& line);

    /// Takes the line away, for other text to be printed.
    void clear();

    /// Time since this was made, as "1:05" or "2:01:05".
    [[nodiscard]] QString elapsed() const;

private:
    using Clock = std::chrono::steady_clock;

    bool isTerminal_;
    Clock::time_point begun_;
    Clock::time_point next_;
    int shownColumns_ = 0;
};
