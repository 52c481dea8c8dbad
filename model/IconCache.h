#pragma once

#include <QFileIconProvider>
#include <QMap>
#include <QPixmap>
#include <QSize>
#include <QString>

/// The icons of a list of files, each asked of the desktop once. What is deleted has the icon of
/// what it was, half transparent. GUI thread only.
class IconCache {
public:
    IconCache();

    [[nodiscard]] QPixmap folderIcon(bool removed) const;

    /// The icon of the folder that collects what has no known path.
    [[nodiscard]] QPixmap lostFolderIcon() const;

    /// The icon for the suffix of `name`, whose letter case counts.
    [[nodiscard]] QPixmap fileIcon(const QString& name, bool removed);

private:
    [[nodiscard]] QPixmap shellIcon(const QString& suffix) const;

    QMap<QString, QPixmap> icons;
    QFileIconProvider provider;
    QSize iconSize{16, 16}; ///< Logical pixels.
};
