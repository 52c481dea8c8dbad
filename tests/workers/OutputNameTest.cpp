#include "workers/OutputName.h"

#include "format/WideText.h"

#include <gtest/gtest.h>

namespace {

using Kind = OutputName::Kind;

const platform::NameRules kUnix{false, false, 255};
const platform::NameRules kWindows{true, true, 255};

std::wstring safe(const platform::NameRules& rules, std::wstring_view name,
                  Kind kind = Kind::File) {
    return OutputName(rules).safe(name, kind);
}

std::wstring text(std::size_t count, std::wstring_view piece) {
    std::wstring all;
    for (std::size_t i = 0; i < count; ++i)
        all += piece;
    return all;
}

TEST(OutputName, StaysInItsFolder) {
    for (const auto& rules : {kUnix, kWindows}) {
        EXPECT_EQ(safe(rules, L"../../etc/passwd"), L".._.._etc_passwd");
        EXPECT_EQ(safe(rules, L"..\\up"), L".._up");
        EXPECT_EQ(safe(rules, L"."), L"_");
        EXPECT_EQ(safe(rules, L".."), L"__");
        EXPECT_EQ(safe(rules, L""), L"_");
        EXPECT_EQ(safe(rules, std::wstring_view(L"a\0b\n\x7f\x9b", 6)), L"a_b___");
        EXPECT_EQ(safe(rules, L"?EPORT.TXT"), L"_EPORT.TXT");
    }
}

TEST(OutputName, LeavesOtherNamesAlone) {
    for (const wchar_t* name : {L"a:b*c.", L"CON", L" x ", L"...", L"\u202e\U0001F600", L"a\xD83D"})
        EXPECT_EQ(safe(kUnix, name), name);
    for (const wchar_t* name : {L"CONSOLE.txt", L"COM0", L"COM12", L"x.CON", L"a b.c", L".profile"})
        EXPECT_EQ(safe(kWindows, name), name);
}

TEST(OutputName, KeepsTheRulesOfWindows) {
    EXPECT_EQ(safe(kWindows, L"a<b>c:d\"e|f*g"), L"a_b_c_d_e_f_g");
    EXPECT_EQ(safe(kWindows, L"file::$DATA"), L"file__$DATA");
    for (const std::wstring name :
         {L"CON", L"nul.txt", L"Aux.tar.gz", L"PRN .x", L"com1", L"LPT9.a", L"COM\u00b9",
          L"lpt\u00b3.txt", L"CLOCK$", L"conin$", L"CONOUT$"})
        EXPECT_EQ(safe(kWindows, name), L"_" + name);
    EXPECT_EQ(safe(kWindows, L"name. ."), L"name___");
    EXPECT_EQ(safe(kWindows, L"..."), L"___");
}

TEST(OutputName, ShortensKeepingTheSuffix) {
    EXPECT_EQ(safe(kUnix, text(300, L"a") + L".jpeg"), text(250, L"a") + L".jpeg");
    EXPECT_EQ(safe(kUnix, text(300, L"a") + L".b", Kind::Folder), text(255, L"a"));
    EXPECT_EQ(safe(kUnix, L"a." + text(300, L"b")), L"a." + text(253, L"b"));
    // A cut goes between code points, of several bytes each or of two UTF-16 units.
    EXPECT_EQ(safe(kUnix, text(200, L"\u4e2d") + L".txt"), text(83, L"\u4e2d") + L".txt");
    EXPECT_EQ(safe(kWindows, text(200, L"\u4e2d") + L".txt"), text(200, L"\u4e2d") + L".txt");
    EXPECT_EQ(safe(kWindows, text(200, L"\U0001F600") + L".txt"),
              text(125, L"\U0001F600") + L".txt");
    EXPECT_EQ(safe(kUnix, text(200, L"\xD83D\xDE00") + L".abc"),
              text(62, L"\xD83D\xDE00") + L".abc"); // Pairs in two characters: 4 bytes as well.
    EXPECT_EQ(safe(kWindows, text(254, L"a") + L" b", Kind::Folder), text(254, L"a") + L"_");
}

TEST(OutputName, NumbersFitIn) {
    const OutputName names(kUnix);
    EXPECT_EQ(names.numbered(L"a.tar.gz", Kind::File, 2), L"a.tar (2).gz");
    EXPECT_EQ(names.numbered(L"v1.0", Kind::Folder, 3), L"v1.0 (3)");
    EXPECT_EQ(names.numbered(L".profile", Kind::File, 2), L".profile (2)");
    for (const std::wstring& name : {text(255, L"a"), text(251, L"a") + L".txt",
                                     L"a." + text(253, L"b"), text(85, L"\u4e2d")}) {
        const std::wstring numbered = names.numbered(name, Kind::File, 12345);
        EXPECT_LE(format::utf8FromWide(numbered).size(), 255U);
        EXPECT_NE(numbered.find(L" (12345)"), std::wstring::npos);
    }
}

} // namespace
