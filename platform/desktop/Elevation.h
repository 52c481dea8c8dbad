#pragma once

#include <QString>

/// Whether this process may read drives below their file systems: a member of the built-in
/// Administrators group on Windows, root elsewhere.
[[nodiscard]] bool isAdmin();

/// Asks the user for administrator rights and starts `program` with them and with `argument` as
/// its only argument. Returns once that is settled, without waiting for the program to end: true
/// when it was started, false when the user refused or the system could not ask.
[[nodiscard]] bool relaunchElevated(const QString& program, const QString& argument);

/// A notice with a single button that needs no window of ours; returns when it is dismissed.
void showMessageBeforeWindows(const QString& text, const QString& caption);

/// Prepares the calling thread for what asks the system's shell (icons, dialogs). Once, on the
/// GUI thread, before any window exists.
void initialiseCom();
