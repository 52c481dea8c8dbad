#include "model/documentText.h"

#include <gtest/gtest.h>

#include <QStringEncoder>

#include <tuple>

namespace {

QByteArray encode(const QString& text, QStringConverter::Encoding encoding) {
    QStringEncoder encoder(encoding, QStringConverter::Flag::WriteBom);
    return encoder(text);
}

TEST(DocumentTextTest, TheMarkSaysTheEncoding) {
    const QString text = QStringLiteral("Größe, 日本語, 🎉,\tשלום\u200F.\r\nВот");
    EXPECT_EQ(documentText(text.toUtf8()), text);
    for (const auto encoding :
         {QStringConverter::Utf8, QStringConverter::Utf16LE, QStringConverter::Utf16BE,
          QStringConverter::Utf32LE, QStringConverter::Utf32BE})
        EXPECT_EQ(documentText(encode(text, encoding)), text) << encoding;
    EXPECT_EQ(documentText({}), QString());
}

/// With the person's language and what a program there wrote.
TEST(DocumentTextTest, WithoutAMarkAndNotUtf8ItIsInTheSystemsCodePage) {
    const QByteArray locale = qgetenv("LC_ALL");
    for (const auto& [name, bytes, text] :
         {std::tuple{"en_US.UTF-8", "caf\xe9 \x80", QStringLiteral("café €")},
          std::tuple{"en_US.UTF-8", "at its end \xe9", QStringLiteral("at its end é")},
          std::tuple{"ru_RU.UTF-8", "\xcf\xf0\xe8\xe2\xe5\xf2", QStringLiteral("Привет")},
          std::tuple{"ru_RU.UTF-8", "Größe", QStringLiteral("Größe")},
          std::tuple{"en_US.no-such-charset", "a\xff", QStringLiteral("a\uFFFD")}}) {
        qputenv("LC_ALL", name);
        EXPECT_EQ(documentText(bytes), text) << name << ": " << bytes;
    }
    qputenv("LC_ALL", locale);
}

TEST(DocumentTextTest, OnlyTheStartIsShown) {
    const QString whole(2048, QChar(u'ä'));
    EXPECT_EQ(documentText(whole.toUtf8()), whole);
    EXPECT_EQ(documentText((whole + QLatin1Char('x')).toUtf8()),
              whole + QStringLiteral("\r\n...[skipped]"));
    // A pair that is cut apart does not leave half a character.
    const QString pair = QString(2047, QLatin1Char('a')) + QStringLiteral("🎉b");
    EXPECT_EQ(documentText(pair.toUtf8())[2047], QChar(QChar::ReplacementCharacter));
}

TEST(DocumentTextTest, WhatAViewWouldActOnIsReplaced) {
    const QString text = QStringLiteral("\u0007\u001b[1m\u007f\u0085\u202Eexe\uFFFC\uFDD0\uFDD1") +
                         QChar(QChar::Null) + QChar(0xD800);
    EXPECT_EQ(documentText(encode(text, QStringConverter::Utf16LE)),
              QStringLiteral("\uFFFD\uFFFD[1m\uFFFD\uFFFD\uFFFDexe\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD"));
}

} // namespace
