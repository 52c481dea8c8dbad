#include "platform/desktop/FileIcons.h"

#include "platform/desktop/linux/BuiltInIcon.h"

#include <QIcon>
#include <QMimeDatabase>

QPixmap fileIconForSuffix(const QString& suffix, QSize size) {
    const QMimeType type = QMimeDatabase().mimeTypeForFile(QStringLiteral("foo.") + suffix,
                                                           QMimeDatabase::MatchExtension);
    if (type.isDefault())
        return {};
    for (const QString& name : {type.iconName(), type.genericIconName()}) {
        QPixmap icon = QIcon::fromTheme(name).pixmap(size);
        if (!icon.isNull())
            return icon;
    }
    return builtInIcon(type.genericIconName(), size);
}
