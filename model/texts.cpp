#include "model/texts.h"

#include "format/FileTime.h"
#include "format/WideText.h"

#include <QDateTime>

namespace {

constexpr double kUnitStep = 1024.0;

constexpr char16_t kShownInstead = 0xFFFD;

struct Range {
    char16_t first;
    char16_t last;
};

/// Characters that a terminal or a text view acts on instead of showing them, ascending.
constexpr Range kNotShown[] = {
    {0x0000, 0x001F}, // C0 controls
    {0x007F, 0x009F}, // DEL and C1 controls
    {0x061C, 0x061C}, // Arabic letter mark
    {0x200E, 0x200F}, // left-to-right and right-to-left marks
    {0x2028, 0x202E}, // line and paragraph separators, bidirectional embeddings and overrides
    {0x2066, 0x2069}, // bidirectional isolates
};

bool isShown(QChar character) {
    for (const Range& range : kNotShown) {
        if (character.unicode() <= range.last)
            return character.unicode() < range.first;
    }
    return true;
}

} // namespace

QString formatSize(kova::int64 bytes) {
    auto value = static_cast<double>(static_cast<kova::uint64>(bytes));
    if (value < kUnitStep)
        return QStringLiteral("%1 bytes").arg(QString::number(value, 'f', 0));
    QString unit;
    for (const char* larger : {"KB", "MB", "GB"}) {
        value /= kUnitStep;
        if (value < kUnitStep) {
            unit = QLatin1String(larger);
            break;
        }
    }
    return QStringLiteral("%1 %2").arg(QString::number(value, 'f', 2), unit);
}

QString formatFileTime(kova::int64 fileTime) {
    if (fileTime == 0)
        return {};
    // Times before 1970 and after 2106 wrap around.
    const auto seconds = static_cast<kova::uint32>(
        (static_cast<kova::uint64>(fileTime) - kova::uint64{format::kFileTimeOf1970}) /
        kova::uint64{format::kFileTimeTicksPerSecond});
    return QDateTime::fromSecsSinceEpoch(seconds).toString(QStringLiteral("d MMM yyyy hh:mm"));
}

// QString's own conversions of wide text replace surrogates that have no partner.

QString toQString(std::wstring_view text) {
    const std::u16string units = format::utf16FromWide(text);
    return QString(reinterpret_cast<const QChar*>(units.data()),
                   static_cast<qsizetype>(units.size()));
}

std::wstring toWide(const QString& text) {
    return format::wideFromUtf16(
        {reinterpret_cast<const char16_t*>(text.utf16()), static_cast<std::size_t>(text.size())});
}

QString displayName(const QString& name) {
    QString shown = name;
    for (qsizetype i = 0; i < name.size(); ++i) {
        if (!isShown(name[i]))
            shown[i] = QChar(kShownInstead);
    }
    return shown;
}

QString sentence(const QString& clause) {
    return clause.left(1).toUpper() + clause.mid(1) + QLatin1Char('.');
}

QString asToolTip(const QString& text) {
    return QStringLiteral("<qt>%1</qt>").arg(text.toHtmlEscaped());
}
