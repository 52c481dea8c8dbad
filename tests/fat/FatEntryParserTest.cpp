#include "engine/fat/FatEntryParser.h"
#include "tests/support/FatBuilder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using testing::ElementsAre;
using testing::IsEmpty;

namespace kova::test {
namespace {

using Names = std::vector<std::wstring>;

/// The names of the entries that a directory of these is taken to hold.
Names namesOf(const std::vector<FatRawEntry>& entries, const ScanOptions& options = {}) {
    FatEntryParser parser;
    parser.begin(0, options);
    Names names;
    for (const FatRawEntry& entry : entries) {
        parser.feed(entry.data());
        if (!parser.entryComplete())
            continue;
        names.push_back(parser.name());
        parser.reset();
    }
    return names;
}

FatEntry withNames(const std::string& name, const std::u16string& longName = {}) {
    FatEntry entry;
    entry.name = name;
    entry.longName = longName;
    return entry;
}

std::vector<FatRawEntry> joined(const std::vector<std::vector<FatRawEntry>>& parts) {
    std::vector<FatRawEntry> all;
    for (const auto& part : parts)
        all.insert(all.end(), part.begin(), part.end());
    return all;
}

/// The long-name entries of a name, without the short one.
std::vector<FatRawEntry> pieces(const std::u16string& longName) {
    return longEntries(withNames("SHORT.TXT", longName));
}

/// A short entry that is refused: its write date is none.
FatRawEntry refused() {
    FatEntry entry = withNames("BAD.TXT");
    entry.writeDate = 1;
    return shortEntry(entry);
}

FatRawEntry accepted(const std::string& name = "SHORT.TXT") {
    return shortEntry(withNames(name));
}

Names namesOf(const FatEntry& entry) {
    return namesOf(joined({longEntries(entry), {shortEntry(entry)}}));
}

TEST(FatEntryParser, ReadsShortNames) {
    FatEntry entry = withNames("REPORT.TXT");
    EXPECT_THAT(namesOf(entry), ElementsAre(L"REPORT.TXT"));
    entry.deleted = true;
    EXPECT_THAT(namesOf(entry), ElementsAre(L"?EPORT.TXT"));
    EXPECT_THAT(namesOf(withNames("NOEXT")), ElementsAre(L"NOEXT"));
    EXPECT_THAT(namesOf(withNames("A B.C")), ElementsAre(L"A B.C"));
    EXPECT_THAT(namesOf(withNames("..")), ElementsAre(L".."));

    entry = withNames("Re\xC9.TXT");
    EXPECT_THAT(namesOf(entry), ElementsAre(L"Re\u00C9.TXT"));
    entry.caseBits = FatDirectoryEntry::kLowerBase;
    EXPECT_THAT(namesOf(entry), ElementsAre(L"re\u00C9.TXT"));
    entry.caseBits = FatDirectoryEntry::kLowerExtension;
    EXPECT_THAT(namesOf(entry), ElementsAre(L"Re\u00C9.txt"));

    EXPECT_THAT(namesOf(withNames("\x05TAT.DOC")), ElementsAre(L"\u00E5TAT.DOC"));
    EXPECT_THAT(namesOf(withNames(std::string("AB\0CD.TXT", 9))), ElementsAre(L"AB"));
}

TEST(FatEntryParser, JoinsLongNames) {
    const std::u16string alphabet = u"abcdefghijklmnopqrstuvwxyz";
    for (const std::size_t length : {1U, 12U, 13U, 14U, 25U, 26U, 255U}) {
        std::u16string name;
        std::wstring expected;
        for (std::size_t i = 0; i < length; ++i) {
            name.push_back(alphabet[i % alphabet.size()]);
            expected.push_back(static_cast<wchar_t>(name.back()));
        }
        FatEntry entry = withNames("SHORT.TXT", name);
        EXPECT_THAT(namesOf(entry), ElementsAre(expected)) << length;
        entry.deleted = true;
        EXPECT_THAT(namesOf(entry), ElementsAre(expected)) << length;
    }
    EXPECT_THAT(namesOf(withNames("SHORT.TXT", u"\u00E9t\u00E9 \u65E5\u672C \U0001F600.txt")),
                ElementsAre(L"\u00E9t\u00E9 \u65E5\u672C \U0001F600.txt"));
}

TEST(FatEntryParser, LooksAtNothingButTheOrderOfLongNameEntries) {
    auto entries = pieces(u"a name of three pieces and more");
    ASSERT_EQ(entries.size(), 3U);
    for (FatRawEntry& entry : entries) {
        entry[0] = 7;   // Sequence.
        entry[13] ^= 1; // Checksum.
    }
    EXPECT_THAT(namesOf(joined({entries, {accepted("OTHER")}})),
                ElementsAre(L"a name of three pieces and more"));
    // Two runs before one short entry are one name, which ends where the first one does.
    EXPECT_THAT(namesOf(joined({pieces(u"one"), pieces(u"two"), {accepted()}})),
                ElementsAre(std::wstring(L"two\0", 4) + std::wstring(9, L'\xFFFF') + L"one"));
}

TEST(FatEntryParser, GivesUpLongNamesThatCannotBe) {
    auto withCluster = pieces(u"a name of two pieces");
    withCluster[1][26] = 1;
    FatEntry shorty = withNames("SHORT.TXT");
    shorty.caseBits = FatDirectoryEntry::kLowerBase;
    // The case bits count again, as if there had been no long name.
    EXPECT_THAT(namesOf(joined({withCluster, {shortEntry(shorty), accepted("NEXT")}})),
                ElementsAre(L"short.TXT", L"NEXT"));

    const std::u16string tooLong(20 * FatLongNameEntry::kUnits, u'x');
    EXPECT_THAT(namesOf(joined({pieces(tooLong), {accepted()}})),
                ElementsAre(std::wstring(255, L'x')));
    EXPECT_THAT(namesOf(joined({pieces(tooLong + u"y"), {accepted()}})), ElementsAre(L"SHORT.TXT"));

    // An empty long name leaves the short one, without case bits.
    auto empty = pieces(u"x");
    storeLe<char16_t>(&empty[0][1], 0);
    storeLe<char16_t>(&empty[0][3], FatLongNameEntry::kPadding);
    EXPECT_THAT(namesOf(joined({empty, {shortEntry(shorty)}})), ElementsAre(L"SHORT.TXT"));
}

TEST(FatEntryParser, KeepsTheLongNameOfARefusedEntry) {
    const auto name = pieces(u"one.txt");
    // It goes to the next accepted entry.
    EXPECT_THAT(namesOf(joined({name, {refused(), accepted()}})), ElementsAre(L"one.txt"));
    // The next long-name entry is lost, and what there was is turned round again.
    EXPECT_THAT(namesOf(joined({name, {refused()}, pieces(u"two.txt"), {accepted()}})),
                ElementsAre(L"txt.eno"));
    // Those after it are put before that.
    EXPECT_THAT(namesOf(joined(
                    {name, {refused()}, pieces(u"lost"), pieces(u"13 characters"), {accepted()}})),
                ElementsAre(L"13 characterstxt.eno"));
    // An accepted entry ends it.
    EXPECT_THAT(namesOf(joined({name, {refused(), accepted(), accepted("NEXT")}})),
                ElementsAre(L"one.txt", L"NEXT"));
}

TEST(FatEntryParser, RefusesImplausibleEntries) {
    const auto isAccepted = [](const auto& change, bool unsetDates = false) {
        FatEntry entry = withNames("NAME.TXT");
        change(entry);
        return !namesOf({shortEntry(entry)}, ScanOptions{.unsetDates = unsetDates}).empty();
    };
    for (const auto date : {&FatEntry::creationDate, &FatEntry::accessDate, &FatEntry::writeDate}) {
        const auto withDate = [&](uint16 value, bool unsetDates = false) {
            return isAccepted([&](FatEntry& entry) { entry.*date = value; }, unsetDates);
        };
        EXPECT_FALSE(withDate(0));
        EXPECT_FALSE(withDate(1023));
        EXPECT_TRUE(withDate(1024));
        EXPECT_TRUE(withDate(28160));
        EXPECT_FALSE(withDate(28161));
        EXPECT_EQ(withDate(0, true), date != &FatEntry::writeDate);
        EXPECT_FALSE(withDate(1, true));
        EXPECT_FALSE(withDate(28161, true));
    }
    EXPECT_TRUE(isAccepted([](FatEntry& entry) { entry.attributes = 0x3E; }));
    EXPECT_FALSE(isAccepted([](FatEntry& entry) { entry.attributes = 0x40; }));

    for (const char byte : std::string_view("\"*+,/:;<=>?[\\]|")) {
        for (std::size_t at = 0; at < FatDirectoryEntry::kNameLength; ++at) {
            FatRawEntry raw = accepted();
            raw[at] = static_cast<uint8>(byte);
            EXPECT_THAT(namesOf({raw}), IsEmpty()) << byte << at;
        }
    }
    for (std::size_t at = 0; at < FatDirectoryEntry::kNameLength; ++at) {
        FatRawEntry raw = accepted();
        raw[at] = '.';
        EXPECT_EQ(namesOf({raw}).size(), at < 3 ? 1U : 0U) << at;
    }
}

TEST(FatEntryParser, BuildsNodes) {
    FatEntry entry = withNames("SHORT.TXT", u"long name");
    entry.cluster = 0x12345678;
    entry.size = 0xFFFFFFFF;
    entry.attributes = 0x31;
    entry.accessDate = 0;
    const auto entries = joined({longEntries(entry), {shortEntry(entry)}});
    FatEntryParser parser;
    parser.begin(77, {.unsetDates = true});
    for (const FatRawEntry& raw : entries)
        parser.feed(raw.data());
    ASSERT_TRUE(parser.entryComplete());

    ZFileTreeNode node;
    parser.buildNode(node);
    EXPECT_EQ(node.id, 0x12345678);
    EXPECT_EQ(node.parentId, 77);
    EXPECT_EQ(node.name, L"long name");
    EXPECT_TRUE(node.isDirectory);
    EXPECT_TRUE(node.exists);
    EXPECT_EQ(node.attributes, 0x31U);
    EXPECT_EQ(node.size, 0xFFFFFFFFLL);
    // 2020-05-17 12:30:00 and 2021-06-18 13:31:02.
    EXPECT_EQ(node.creationTime, 132341922000000000);
    EXPECT_EQ(node.modificationTime, 132684966620000000);
    EXPECT_EQ(node.accessTime, 0);
}

TEST(FatEntryParser, SeesTheEndOfTheDirectory) {
    FatEntryParser parser;
    parser.begin(0, {});
    parser.feed(accepted().data());
    EXPECT_FALSE(parser.endOfDirectory());
    const FatRawEntry end{};
    parser.feed(end.data());
    EXPECT_TRUE(parser.endOfDirectory());
    EXPECT_FALSE(parser.entryComplete());
    parser.begin(0, {});
    EXPECT_FALSE(parser.endOfDirectory());
}

TEST(FatEntryParser, EndsALongNameAtItsFirstZeroOnRequest) {
    // What pads a name of 250 units in its 20 entries is taken for a part of it otherwise.
    const std::u16string longName(250, u'x');
    const auto entries = longEntries(withNames("SHORT.TXT", longName));
    const auto all = joined({entries, {accepted()}});
    const std::wstring wide(250, L'x');
    EXPECT_EQ(namesOf(all, {.lenientFat = true}).front(), wide);
    EXPECT_EQ(namesOf(all).front(), wide + L'\0' + std::wstring(4, L'\uFFFF'));
}

} // namespace
} // namespace kova::test
