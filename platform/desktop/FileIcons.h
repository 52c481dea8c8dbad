#pragma once

#include <QPixmap>
#include <QSize>
#include <QString>

/// The icon that the desktop shows for files with this suffix (without the dot, in any case), in
/// `size` logical pixels; null when it has none. Such a file need not exist. May ask the system
/// and read files, so keep what it gives. GUI thread only.
[[nodiscard]] QPixmap fileIconForSuffix(const QString& suffix, QSize size);
