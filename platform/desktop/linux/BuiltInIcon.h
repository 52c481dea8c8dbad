#pragma once

#include <QPixmap>
#include <QSize>
#include <QString>

/// An icon of our own for a kind of file, by the freedesktop.org name of its generic icon
/// ("image-x-generic"), for desktops that have no icon theme. Null for kinds we do not tell apart.
[[nodiscard]] QPixmap builtInIcon(const QString& genericIconName, QSize size);
