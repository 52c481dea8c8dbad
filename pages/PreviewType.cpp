#include "pages/PreviewType.h"

#include "model/ExtensionFilter.h"

#include <QFileInfo>
#include <QSet>
#include <QStringList>

namespace {

QStringList split(const char* suffixes) {
    return QString::fromLatin1(suffixes).split(QLatin1Char('|'));
}

const QStringList& soundSuffixes() {
    static const QStringList suffixes = split("mp3|ogg|wma|flac|aac|m4a|wav|mid|midi");
    return suffixes;
}

const QSet<QString>& imageSuffixes() {
    static const QSet<QString> suffixes =
        ExtensionFilter::suffixes(ExtensionFilter::Family::Pictures);
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
