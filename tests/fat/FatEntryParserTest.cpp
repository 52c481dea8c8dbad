#include "engine/fat/FatEntryParser.h"
#include "platform/CodePage.h"
#include "tests/support/FatBuilder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using testing::ElementsAre;

namespace kova::test {
namespace {

using Names = std::vector<std::wstring>;
using Entries = std::vector<FatRawEntry>;

/// The names of the entries that a directory of these is taken to hold.
Names namesOf(const std::vector<Entries>& runs, const ScanOptions& options = {}) {
    FatEntryParser parser;
    parser.begin(0, options);
    Names names;
    for (const Entries& entries : runs) {
        for (const FatRawEntry& entry : entries) {
            parser.feed(entry.data());
            if (!parser.entryComplete())
                continue;
            names.push_back(parser.name());
            parser.reset();
        }
    }
    return names;
}

FatEntry withNames(const std::string& name, const std::u16string& longName = {}) {
    FatEntry entry;
    entry.name = name;
    entry.longName = longName;
    return entry;
}

/// The long-name entries of a name, without the short one.
Entries pieces(const std::u16string& longName) {
    return longEntries(withNames("SHORT.TXT", longName));
}

Entries accepted(const std::string& name = "SHORT.TXT", uint8 caseBits = 0) {
    FatEntry entry = withNames(name);
    entry.caseBits = caseBits;
    return {shortEntry(entry)};
}

/// A short entry that is refused: its write date is none.
Entries refused() {
    FatEntry entry = withNames("BAD.TXT");
    entry.writeDate = 1;
    return {shortEntry(entry)};
}

TEST(FatEntryParser, ReadsShortNames) {
    constexpr uint8 kLowerBase = FatDirectoryEntry::kLowerBase;
    constexpr uint8 kLowerExtension = FatDirectoryEntry::kLowerExtension;
    EXPECT_THAT(namesOf({accepted("REPORT.TXT"), accepted("NOEXT"), accepted("A B.C"),
                         accepted(".."), accepted("Re\xC9.TXT"), accepted("Re\xC9.TXT", kLowerBase),
                         accepted("Re\xC9.TXT", kLowerExtension), accepted("\x05TAT.DOC"),
                         accepted(std::string("AB\0CD.TXT", 9))}),
                ElementsAre(L"REPORT.TXT", L"NOEXT", L"A B.C", L"..", L"Re\u00C9.TXT",
                            L"re\u00C9.TXT", L"Re\u00C9.txt", L"\u00E5TAT.DOC", L"AB"));
}

TEST(FatEntryParser, JoinsLongNames) {
    for (const std::size_t length : {1U, 12U, 13U, 14U, 25U, 26U, 255U}) {
        std::u16string name;
        for (std::size_t i = 0; i < length; ++i)
            name.push_back(static_cast<char16_t>(u'a' + i % 26));
        EXPECT_THAT(namesOf({pieces(name), accepted()}),
                    ElementsAre(std::wstring(name.begin(), name.end())));
    }
    EXPECT_THAT(namesOf({pieces(u"\u00E9t\u00E9 \u65E5\u672C \U0001F600.txt"), accepted()}),
                ElementsAre(L"\u00E9t\u00E9 \u65E5\u672C \U0001F600.txt"));
}

TEST(FatEntryParser, LooksAtNothingButTheOrderOfLongNameEntries) {
    Entries entries = pieces(u"a name of three pieces and more");
    ASSERT_EQ(entries.size(), 3U);
    for (FatRawEntry& entry : entries) {
        entry[0] = 7;   // Sequence.
        entry[13] ^= 1; // Checksum.
    }
    EXPECT_THAT(namesOf({entries, accepted("OTHER")}),
                ElementsAre(L"a name of three pieces and more"));
    // Two runs before one short entry are one name, which ends where the first one does.
    EXPECT_THAT(namesOf({pieces(u"one"), pieces(u"two"), accepted()}),
                ElementsAre(std::wstring(L"two\0", 4) + std::wstring(9, L'\xFFFF') + L"one"));
}

TEST(FatEntryParser, GivesUpLongNamesThatCannotBe) {
    const Entries lowerCase = accepted("SHORT.TXT", FatDirectoryEntry::kLowerBase);
    Entries withCluster = pieces(u"a name of two pieces");
    withCluster[1][26] = 1;
    // The case bits count again, as if there had been no long name.
    EXPECT_THAT(namesOf({withCluster, lowerCase, accepted("NEXT")}),
                ElementsAre(L"short.TXT", L"NEXT"));

    const std::u16string tooLong(20 * FatLongNameEntry::kUnits, u'x');
    EXPECT_THAT(namesOf({pieces(tooLong), accepted()}), ElementsAre(std::wstring(255, L'x')));
    EXPECT_THAT(namesOf({pieces(tooLong + u"y"), accepted()}), ElementsAre(L"SHORT.TXT"));

    // An empty long name leaves the short one, without case bits.
    Entries empty = pieces(u"x");
    storeLe<char16_t>(&empty[0][1], 0);
    storeLe<char16_t>(&empty[0][3], FatLongNameEntry::kPadding);
    EXPECT_THAT(namesOf({empty, lowerCase}), ElementsAre(L"SHORT.TXT"));
}

TEST(FatEntryParser, KeepsTheLongNameOfARefusedEntry) {
    const Entries name = pieces(u"one.txt");
    // It goes to the next accepted entry, and no further.
    EXPECT_THAT(namesOf({name, refused(), accepted(), accepted("NEXT")}),
                ElementsAre(L"one.txt", L"NEXT"));
    // The next long-name entry is lost, and what there was is turned round again.
    EXPECT_THAT(namesOf({name, refused(), pieces(u"two.txt"), accepted()}),
                ElementsAre(L"txt.eno"));
    // Those after it are put before that.
    EXPECT_THAT(namesOf({name, refused(), pieces(u"lost"), pieces(u"13 characters"), accepted()}),
                ElementsAre(L"13 characterstxt.eno"));
    // On request it goes with it, though its checksum would fit the next one.
    Entries same = accepted();
    same[0][11] = 0x40;
    EXPECT_THAT(namesOf({name, same, accepted()}), ElementsAre(L"one.txt"));
    EXPECT_THAT(namesOf({name, same, accepted()}, {.lenientFat = true}), ElementsAre(L"SHORT.TXT"));
}

TEST(FatEntryParser, RefusesImplausibleEntries) {
    const auto isAccepted = [](const auto& change, const ScanOptions& options = {}) {
        FatEntry entry = withNames("NAME.TXT");
        change(entry);
        return !namesOf({{shortEntry(entry)}}, options).empty();
    };
    const ScanOptions unset{.unsetDates = true};
    const ScanOptions lenient{.lenientFat = true};
    for (const auto date : {&FatEntry::creationDate, &FatEntry::accessDate, &FatEntry::writeDate}) {
        const auto withDate = [&](uint16 value, const ScanOptions& options = {}) {
            return isAccepted([&](FatEntry& entry) { entry.*date = value; }, options);
        };
        EXPECT_FALSE(withDate(0));
        EXPECT_FALSE(withDate(1023));
        EXPECT_TRUE(withDate(1024));
        EXPECT_TRUE(withDate(28160));
        EXPECT_FALSE(withDate(28161));
        EXPECT_EQ(withDate(0, unset), date != &FatEntry::writeDate);
        EXPECT_FALSE(withDate(1, unset));
        for (const int any : {0, 1, 33, 1023, 28161, 0xFFFF})
            EXPECT_TRUE(withDate(static_cast<uint16>(any), lenient)) << any;
    }
    EXPECT_TRUE(isAccepted([](FatEntry& entry) { entry.attributes = 0x3E; }));
    EXPECT_FALSE(isAccepted([](FatEntry& entry) { entry.attributes = 0x40; }));

    for (const char byte : std::string_view("\"*+,/:;<=>?[\\]|.")) {
        for (std::size_t at = 0; at < FatDirectoryEntry::kNameLength; ++at) {
            FatRawEntry raw = accepted()[0];
            raw[at] = static_cast<uint8>(byte);
            const bool mayBe = byte == '.' && at < 3;
            EXPECT_EQ(namesOf({{raw}}).size(), mayBe ? 1U : 0U) << byte << at;
        }
    }
}

TEST(FatEntryParser, ReadsShortNamesByTheCodePageOnRequest) {
    const uint8 byte = 0xC9;
    const auto letter =
        platform::wideFromSystemCodePage(std::span(&byte, 1), platform::CodePage::Oem);
    ASSERT_TRUE(letter);
    EXPECT_THAT(namesOf({accepted("RE\xC9.TXT"), accepted("A\x02.TXT"), accepted("A\x1F.TXT")},
                        {.lenientFat = true}),
                ElementsAre(L"RE" + *letter + L".TXT"));
}

TEST(FatEntryParser, EndsALongNameAtItsFirstZeroOnRequest) {
    // What pads a name of 250 units in its 20 entries is taken for a part of it otherwise.
    const std::vector<Entries> all{pieces(std::u16string(250, u'x')), accepted()};
    const std::wstring wide(250, L'x');
    EXPECT_EQ(namesOf(all, {.lenientFat = true}).front(), wide);
    EXPECT_EQ(namesOf(all).front(), wide + L'\0' + std::wstring(4, L'\uFFFF'));
}

TEST(FatEntryParser, TakesOfALongNameWhatIsTheEntrysOwn) {
    const ScanOptions lenient{.lenientFat = true};
    const auto deleted = [](const std::string& name, const std::u16string& longName) {
        FatEntry entry = withNames(name, longName);
        Entries all = longEntries(entry);
        all.push_back(shortEntry(entry));
        for (FatRawEntry& raw : all)
            raw[0] = FatDirectoryEntry::kDeletedMark;
        return all;
    };
    // The pieces at a name's end stand first, and are what other entries take first.
    const auto cut = [&](const std::string& name, const std::u16string& longName) {
        Entries all = deleted(name, longName);
        all.erase(all.begin());
        return namesOf({all}, lenient);
    };
    EXPECT_THAT(cut("HOLIDA~1.JPG", u"Holiday by the sea 12.jpeg"),
                ElementsAre(L"Holiday by th.JPG"));
    EXPECT_THAT(cut("TWELVE~1.JPE", u"twelve of .jpeg of"), ElementsAre(L"twelve of .jpE"));
    EXPECT_THAT(namesOf({deleted("NOTES1~1.2FI", u"notes 1.2 fin")}, lenient),
                ElementsAre(L"notes 1.2 fin"));
    // What another name has left does not become the begin of this one.
    Entries left = deleted("OTHER.TXT", u"Another name's only piece");
    left.pop_back();
    EXPECT_THAT(namesOf({left, deleted("MINE.TXT", u"Mine alone.txt")}, lenient),
                ElementsAre(L"Mine alone.txt"));
    EXPECT_THAT(namesOf({left, accepted("MINE.TXT")}, lenient), ElementsAre(L"MINE.TXT"));
    // For this one's checksum to be that name's it would have begun with a bracket.
    EXPECT_THAT(namesOf({left, deleted("ANHER.TXT", u"")}, lenient), ElementsAre(L"?NHER.TXT"));
}

} // namespace
} // namespace kova::test
