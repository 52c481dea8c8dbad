#pragma once

#include <QString>

/// One drive to choose from.
struct DriveInfo {
    QString label;     ///< As shown: the volume's label, fit for display, and the letter.
    char letter = 0;   ///< 'A' to 'Z'.
    int removable = 0; ///< 1 for a removable drive, 0 for a fixed one.
    QString details;   ///< Model, file system, size, device: to tell drives of one label apart.
};
