#include "model/texts.h"

#include <gtest/gtest.h>

#include <QDateTime>

#include <cstdlib>

namespace {

TEST(Texts, SizesKeepTheUnitChosenBeforeRounding) {
    EXPECT_EQ(formatSize(0), "0 bytes");
    EXPECT_EQ(formatSize(1023), "1023 bytes");
    EXPECT_EQ(formatSize(1024), "1.00 KB");
    EXPECT_EQ(formatSize(1536), "1.50 KB");
    EXPECT_EQ(formatSize(1048575), "1024.00 KB");
    EXPECT_EQ(formatSize(20971520), "20.00 MB");
    EXPECT_EQ(formatSize(1073741824), "1.00 GB");
    EXPECT_EQ(formatSize(1099511627776), "1024.00 ");
    EXPECT_EQ(formatSize(-1), "17179869184.00 ") << "the bytes are an unsigned count";
}

TEST(Texts, DatesAreLocalAndWrapBefore1970) {
    constexpr kova::int64 kFileTimeOf1970 = 116444736000000000;
    constexpr kova::int64 kSecond = 10'000'000;
    ASSERT_EQ(::setenv("TZ", "EST5", 1), 0);
    ::tzset();
    EXPECT_EQ(formatFileTime(0), "");
    EXPECT_EQ(formatFileTime(kFileTimeOf1970), "31 Dec 1969 19:00");
    EXPECT_EQ(formatFileTime(kFileTimeOf1970 + 1'700'000'000 * kSecond), "14 Nov 2023 17:13");
    // 2^64 ticks less one second, of whose seconds 32 bits are kept.
    EXPECT_EQ(formatFileTime(kFileTimeOf1970 - kSecond),
              QDateTime::fromSecsSinceEpoch(static_cast<quint32>(1844674407370 - 1))
                  .toString("d MMM yyyy hh:mm"));
}

TEST(Texts, ConversionsLoseNothing) {
    const std::wstring names[] = {L"plain",          L"\u00e9\u4e2d",
                                  L"\U0001F600.txt", L"a\xD83Dz",
                                  L"\xDE00",         std::wstring(L"nul\0inside", 10),
                                  L"\uFEFFmark",     L""};
    for (const std::wstring& name : names)
        EXPECT_EQ(toWide(toQString(name)), name);
    EXPECT_EQ(toQString(L"\U0001F600").size(), 2);
    EXPECT_EQ(toQString(L"a\xD83Dz")[1].unicode(), 0xD83D);
}

TEST(Texts, ShownNamesCannotActOnTheText) {
    const QString harmless = QStringLiteral("Übung \u4e2d\u05d0 \U0001F600~.txt");
    EXPECT_EQ(displayName(harmless), harmless);
    for (const char16_t bad :
         {u'\0', u'\x1b', u'\n', u'\x7f', u'\x9b', u'\u061c', u'\u200e', u'\u200f', u'\u2028',
          u'\u2029', u'\u202a', u'\u202e', u'\u2066', u'\u2069'}) {
        EXPECT_EQ(displayName(QString("a") + QChar(bad) + "b"), QStringLiteral("a\uFFFDb"))
            << std::hex << static_cast<int>(bad);
    }
    for (const char16_t good : {u' ', u'\u00a0', u'\u200d', u'\u2010', u'\u202f', u'\u206a'})
        EXPECT_EQ(displayName(QString(QChar(good))), QString(QChar(good)));
}

} // namespace
