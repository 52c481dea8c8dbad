#include "platform/desktop/FileIcons.h"

#include <QImage>

#include <string>

#include <windows.h>

#include <shellapi.h>

QPixmap fileIconForSuffix(const QString& suffix, QSize size) {
    const std::wstring name = L"foo." + suffix.toStdWString();
    SHFILEINFOW info{};
    // By attributes, so that no such file need exist.
    const DWORD_PTR found = SHGetFileInfoW(name.c_str(), 0, &info, sizeof info,
                                           SHGFI_ICON | SHGFI_USEFILEATTRIBUTES | SHGFI_SMALLICON);
    if (found == 0 || info.hIcon == nullptr)
        return {};
    const QPixmap icon = QPixmap::fromImage(QImage::fromHICON(info.hIcon));
    DestroyIcon(info.hIcon);
    if (icon.isNull() || icon.size() == size)
        return icon;
    return icon.scaled(size, Qt::KeepAspectRatio, Qt::SmoothTransformation);
}
