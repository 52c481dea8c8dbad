#include "model/NamePattern.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(NamePattern, ContainsOrMatchesWhateverTheCase) {
    const std::wstring longName(200'000, L'a');

    const struct {
        const char* pattern;
        std::wstring name;
        bool matches;
    } cases[] = {
        {"  ", L"anything", true},
        {"each", L"Beach.jpg", true},
        {"BEACH.", L"beach.jpg", true},
        {"beach.jpeg", L"beach.jpg", false},
        {"jpg", L"jp", false},
        {"\u00c4PFEL", L"\u00e4pfel.txt", true},
        {"\u0416", L"\u0436\u0443\u043a", true},
        {"\U00010400", L"\U00010428", true},
        {"*.jpg", L"a.jpg.JPG", true},
        {"*.jpg", L"a.jpg.txt", false},
        {"a*b*c", L"a-bb-b-c", true},
        {"a*b*c", L"a-c-b", false},
        {"?", L"", false},
        {"img_????.*", L"IMG_0042.dng", true},
        {"img_????.*", L"IMG_042.dng", false},
        {"*", L"", true},
        {"*a*a*a*a*b", longName, false},
    };

    for (const auto& [pattern, name, matches] : cases)
        EXPECT_EQ(NamePattern(QString::fromUtf8(pattern)).matches(name), matches)
            << pattern << " in a name of " << name.size();
}

} // namespace
