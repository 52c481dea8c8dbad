#include "model/ExtensionFilter.h"

#include <gtest/gtest.h>

namespace {

using Family = ExtensionFilter::Family;

bool accepts(const ExtensionFilter& filter, const wchar_t* name, bool isDirectory = false) {
    kova::ZFileTreeNode node;
    node.name = name;
    node.isDirectory = isDirectory;
    return filter.accepts(node);
}

TEST(ExtensionFilter, JudgesByTheLastSuffixInLowerCase) {
    const auto filter = ExtensionFilter::of({Family::Sounds});
    EXPECT_EQ(filter.allowed(), ExtensionFilter::suffixes(Family::Sounds));
    EXPECT_EQ(filter.allowed().size(), 10);
    EXPECT_EQ(filter.denied().size(), 17 + 40 + 16 + 6 - 3) << "gif, mng and sh are listed twice";
    EXPECT_TRUE(accepts(filter, L"track.MP3"));
    EXPECT_TRUE(accepts(filter, L"track.jpg.mp3"));
    EXPECT_FALSE(accepts(filter, L"track.mp3.jpg"));
    EXPECT_FALSE(accepts(filter, L"track.mp3."));
    EXPECT_FALSE(accepts(filter, L"mp3"));
    EXPECT_FALSE(accepts(filter, L"notes"));
    EXPECT_TRUE(accepts(filter, L"holiday.jpg", true)) << "folders always pass";
}

TEST(ExtensionFilter, TakesSuffixesOfTwoFamiliesOnlyWithBoth) {
    EXPECT_FALSE(accepts(ExtensionFilter::of({Family::Pictures}), L"a.gif"));
    EXPECT_FALSE(accepts(ExtensionFilter::of({Family::Videos, Family::Other}), L"a.mng"));
    EXPECT_TRUE(accepts(ExtensionFilter::of({Family::Pictures, Family::Videos}), L"a.gif"));
    EXPECT_FALSE(accepts(ExtensionFilter::of({Family::Programs}), L"a.sh"));
    EXPECT_TRUE(accepts(ExtensionFilter::of({Family::Programs, Family::Documents}), L"a.sh"));
}

TEST(ExtensionFilter, OtherStandsForWhatNoFamilyLists) {
    const auto filter = ExtensionFilter::of({Family::Other});
    EXPECT_TRUE(accepts(filter, L"archive.zip"));
    EXPECT_TRUE(accepts(filter, L"README"));
    EXPECT_FALSE(accepts(filter, L"photo.jpg"));
    EXPECT_TRUE(accepts(filter, L"table.xlsx")) << "listed with other spellings only";
    EXPECT_FALSE(accepts(filter, L"table.xslx"));
}

TEST(ExtensionFilter, WantsAllOrNothing) {
    EXPECT_TRUE(accepts(ExtensionFilter::everything(), L"photo.jpg"));
    EXPECT_TRUE(accepts(ExtensionFilter::everything(), L"README"));
    EXPECT_TRUE(accepts(ExtensionFilter::of(ExtensionFilter::families()), L"run.sh"));
    EXPECT_TRUE(ExtensionFilter::of({}).allowed().isEmpty());
    EXPECT_FALSE(accepts(ExtensionFilter::of({}), L"archive.zip"));
    EXPECT_FALSE(accepts(ExtensionFilter(), L"archive.zip"));
}

} // namespace
