#include "model/ExtensionFilter.h"

#include "model/texts.h"

#include <string_view>
#include <utility>

namespace {

const QString kEverySuffix = QStringLiteral("*");

/// The suffixes of a family, separated by "|". A suffix may stand in two families.
QString suffixList(ExtensionFilter::Family family) {
    switch (family) {
    case ExtensionFilter::Family::Documents:
        return QStringLiteral("doc|docx|xsl|xslx|ppt|pptx|rtf|readme|info|txt|cpp|h|xml|sh|html|"
                              "css|pl");
    case ExtensionFilter::Family::Pictures:
        return QStringLiteral("bmp|cut|dds|exr|g3|gif|hdr|ico|iff|lbm|j2k|j2c|jng|jp2|jpg|jpeg|"
                              "jif|jpe|koa|mng|pbm|pcd|pcx|pfm|pgm|pct|pict|pic|png|ppm|psd|ras|"
                              "sgi|tga|targa|tif|tiff|wbmp|xbm|xpm");
    case ExtensionFilter::Family::Videos:
        return QStringLiteral("aaf|3gp|gif|asf|fla|m4v|mng|mov|avi|mkv|flv|mpeg|mpe|mpg|swf|wmv");
    case ExtensionFilter::Family::Sounds:
        return QStringLiteral("mp3|ogg|wma|flac|aac|m4a|wav|mid|midi|aif");
    case ExtensionFilter::Family::Programs:
        return QStringLiteral("exe|com|bat|dll|cmd|sh");
    case ExtensionFilter::Family::Other:
        break;
    }
    return {};
}

QString suffixOf(std::wstring_view name) {
    const auto dot = name.rfind(L'.');
    return dot == std::wstring_view::npos ? QString() : toQString(name.substr(dot + 1)).toLower();
}

} // namespace

QList<ExtensionFilter::Family> ExtensionFilter::families() {
    return {Family::Documents, Family::Pictures, Family::Videos,
            Family::Sounds,    Family::Programs, Family::Other};
}

QSet<QString> ExtensionFilter::suffixes(Family family) {
    const QStringList list = suffixList(family).split(QLatin1Char('|'), Qt::SkipEmptyParts);
    return {list.begin(), list.end()};
}

ExtensionFilter::ExtensionFilter(QSet<QString> allowed, QSet<QString> denied)
    : allowed_(std::move(allowed)), denied_(std::move(denied)) {}

ExtensionFilter ExtensionFilter::everything() {
    return {{kEverySuffix}, {}};
}

ExtensionFilter ExtensionFilter::of(const QList<Family>& wanted) {
    ExtensionFilter filter;
    for (const Family family : families()) {
        if (family == Family::Other) {
            if (wanted.contains(family))
                filter.allowed_.insert(kEverySuffix);
            continue;
        }
        (wanted.contains(family) ? filter.allowed_ : filter.denied_).unite(suffixes(family));
    }
    return filter;
}

bool ExtensionFilter::accepts(const kova::ZFileTreeNode& node) const {
    const bool everySuffix = allowed_.contains(kEverySuffix);
    if (node.isDirectory || (everySuffix && denied_.isEmpty()))
        return true;
    const QString suffix = suffixOf(node.name);
    if (denied_.contains(suffix))
        return false;
    return everySuffix || allowed_.contains(suffix);
}
