#include "platform/desktop/FileIcons.h"

#include <QGuiApplication>
#include <QImage>

#include <cmath>
#include <string>

#include <windows.h>

#include <commctrl.h>
#include <commoncontrols.h>
#include <shellapi.h>

namespace {

/// The system's lists of icons, from small to large. The largest one, of 256 pixels, is left out:
/// icons that do not come so large stand in a corner there.
constexpr int kLists[] = {SHIL_SMALL, SHIL_LARGE, SHIL_EXTRALARGE};

/// The icon of that number whose sides are `side` pixels, or the nearest larger one, or the
/// largest; null when there is none.
QImage iconOfSystem(int number, int side) {
    QImage icon;
    for (const int which : kLists) {
        void* found = nullptr;
        if (FAILED(SHGetImageList(which, __uuidof(IImageList), &found)))
            continue;
        auto* const list = static_cast<IImageList*>(found);
        HICON handle = nullptr;
        if (SUCCEEDED(list->GetIcon(number, ILD_TRANSPARENT, &handle)) && handle != nullptr) {
            icon = QImage::fromHICON(handle);
            DestroyIcon(handle);
        }
        list->Release();
        if (icon.width() >= side)
            break;
    }
    return icon;
}

} // namespace

QPixmap fileIconForSuffix(const QString& suffix, QSize size) {
    const std::wstring name = L"foo." + suffix.toStdWString();
    SHFILEINFOW info{};
    // By attributes, so that no such file need exist.
    if (SHGetFileInfoW(name.c_str(), FILE_ATTRIBUTE_NORMAL, &info, sizeof info,
                       SHGFI_SYSICONINDEX | SHGFI_USEFILEATTRIBUTES) == 0)
        return {};
    // In the pixels of the screen that shows most of them.
    const qreal scale = qGuiApp->devicePixelRatio();
    const QSize pixels(static_cast<int>(std::lround(size.width() * scale)),
                       static_cast<int>(std::lround(size.height() * scale)));
    const QImage icon = iconOfSystem(info.iIcon, pixels.width());
    if (icon.isNull())
        return {};
    QPixmap scaled = QPixmap::fromImage(
        icon.size() == pixels ? icon
                              : icon.scaled(pixels, Qt::KeepAspectRatio, Qt::SmoothTransformation));
    scaled.setDevicePixelRatio(scale);
    return scaled;
}
