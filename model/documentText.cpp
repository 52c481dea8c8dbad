#include "model/documentText.h"

#include "platform/CodePage.h"

#include <QStringConverter>
#include <QStringDecoder>

#include <cstdint>

namespace {

/// The longest text shown, in UTF-16 units.
constexpr qsizetype TEXT_PREVIEW_CHARS = 2048;

constexpr QChar kShownInstead{0xFFFD};

bool isShown(QChar character) {
    switch (character.unicode()) {
    case '\t':
    case '\n':
    case '\r':
        return true;
    case 0x202D: // overrides of the direction, left to right and right to left
    case 0x202E:
    case 0xFDD0: // what the view's documents use inside, for frames and for objects
    case 0xFDD1:
    case QChar::ObjectReplacementCharacter:
        return false;
    default:
        return character.category() != QChar::Other_Control;
    }
}

bool isPaired(const QString& text, qsizetype at) {
    if (text[at].isHighSurrogate())
        return at + 1 < text.size() && text[at + 1].isLowSurrogate();
    return at > 0 && text[at - 1].isHighSurrogate();
}

/// Hardly any other text can be read as UTF-8 by chance.
QString decoded(QByteArrayView bytes) {
    const auto marked = QStringConverter::encodingForData(bytes);
    QStringDecoder decoder(marked.value_or(QStringConverter::Utf8),
                           QStringConverter::Flag::Stateless);
    QString text = decoder(bytes);
    if (marked || !decoder.hasError())
        return text;
    const auto wide =
        platform::wideFromSystemCodePage({reinterpret_cast<const std::uint8_t*>(bytes.data()),
                                          static_cast<std::size_t>(bytes.size())});
    return wide ? QString::fromStdWString(*wide) : text;
}

} // namespace

QString documentText(QByteArrayView bytes) {
    QString text = decoded(bytes);
    const bool isCut = text.size() > TEXT_PREVIEW_CHARS;
    text.truncate(TEXT_PREVIEW_CHARS);
    const QString whole = text;
    for (qsizetype i = 0; i < text.size(); ++i) {
        if (!isShown(whole[i]) || (whole[i].isSurrogate() && !isPaired(whole, i)))
            text[i] = kShownInstead;
    }
    return isCut ? text + QStringLiteral("\r\n...[skipped]") : text;
}
