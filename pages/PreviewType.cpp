#include "pages/PreviewType.h"

#include <QFileInfo>
#include <QStringList>

namespace {

QStringList split(const char* suffixes) {
    return QString::fromLatin1(suffixes).split(QLatin1Char('|'));
}

const QStringList& soundSuffixes() {
    static const QStringList suffixes = split("mp3|ogg|wma|flac|aac|m4a|wav|mid|midi");
    return suffixes;
}

const QStringList& imageSuffixes() {
    static const QStringList suffixes =
        split("bmp|cut|dds|exr|g3|gif|hdr|ico|iff|lbm|j2k|j2c|jng|jp2|jpg|jpeg|jif|jpe|koa|mng|"
              "pbm|pcd|pcx|pfm|pgm|pct|pict|pic|png|ppm|psd|ras|sgi|tga|targa|tif|tiff|wbmp|xbm|"
              "xpm");
    return suffixes;
}

/// The last, empty one is that of a name without a suffix.
const QStringList& textSuffixes() {
    static const QStringList suffixes = split("txt|cpp|h|xml|sh|html|css|pl|");
    return suffixes;
}

} // namespace

PreviewType::T previewTypeOf(const QString& fileName) {
    const QString suffix = QFileInfo(fileName).suffix().toLower();
    if (soundSuffixes().contains(suffix))
        return PreviewType::Sound;
    if (imageSuffixes().contains(suffix))
        return PreviewType::Image;
    if (textSuffixes().contains(suffix))
        return PreviewType::Text;
    return PreviewType::None;
}
