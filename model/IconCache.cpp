#include "model/IconCache.h"

#include "platform/desktop/FileIcons.h"

#include <QFileInfo>
#include <QPainter>

namespace {

const QString kFile = QStringLiteral(":file");
const QString kFolder = QStringLiteral(":folder");
const QString kLostFolder = QStringLiteral(":lostFolder");
const QString kRemoved = QStringLiteral("/removed");

/// Opacity of what is deleted, of 255.
constexpr int kRemovedAlpha = 128;

QPixmap makeRemovedPixmap(const QPixmap& pixmap) {
    QPixmap removed = pixmap;
    if (removed.isNull())
        return removed;
    if (!removed.hasAlphaChannel()) {
        // What is painted below needs an opacity to act on.
        removed = QPixmap(pixmap.size());
        removed.setDevicePixelRatio(pixmap.devicePixelRatio());
        removed.fill(Qt::transparent);
        QPainter(&removed).drawPixmap(0, 0, pixmap);
    }
    QPainter painter(&removed);
    painter.setCompositionMode(QPainter::CompositionMode_DestinationIn);
    painter.fillRect(removed.rect(), QColor(0, 0, 0, kRemovedAlpha));
    return removed;
}

} // namespace

IconCache::IconCache() {
    icons[kFile] = provider.icon(QFileIconProvider::File).pixmap(iconSize);
    icons[kFolder] = provider.icon(QFileIconProvider::Folder).pixmap(iconSize);
    icons[kLostFolder] = QPixmap(QStringLiteral(":/icons/16/lostFolder"));
    icons[kFolder + kRemoved] = makeRemovedPixmap(icons[kFolder]);
}

QPixmap IconCache::folderIcon(bool removed) const {
    return icons.value(removed ? kFolder + kRemoved : kFolder);
}

QPixmap IconCache::lostFolderIcon() const {
    return icons.value(kLostFolder);
}

QPixmap IconCache::fileIcon(const QString& name, bool removed) {
    const QString suffix = QFileInfo(name).suffix();
    const QString key = removed ? suffix + kRemoved : suffix;
    const auto known = icons.constFind(key);
    if (known != icons.constEnd())
        return *known;
    const QPixmap live = shellIcon(suffix);
    return icons[key] = removed ? makeRemovedPixmap(live) : live;
}

QPixmap IconCache::shellIcon(const QString& suffix) const {
    const QPixmap icon = fileIconForSuffix(suffix, iconSize);
    return icon.isNull() ? icons.value(kFile) : icon;
}
