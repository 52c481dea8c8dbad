// A stick that was formatted once more.
#include "engine/ZMemoryStream.h"
#include "engine/fat/ZFatVolume.h"
#include "engine/search/ZDeepSearch.h"
#include "tests/platform/Tools.h"
#include "tests/support/TempDir.h"
#include "tests/support/TestMedia.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>

namespace kova::test {
namespace {

namespace tools = platform::test;

std::string noise(std::size_t size, unsigned seed) {
    std::string content(size, '\0');
    std::generate(content.begin(), content.end(),
                  [random = std::mt19937(seed)]() mutable { return static_cast<char>(random()); });
    return content;
}

std::wstring pathOf(const ZFileTree& tree, const ZFileTreeNode* node) {
    std::wstring path = node->name;
    for (node = tree.find(node->parentId); node != nullptr && node->id != tree.rootId;
         node = tree.find(node->parentId))
        path = node->name + L"/" + path;
    return path;
}

class FormattedFat : public testing::TestWithParam<std::pair<const char*, const char*>> {};

TEST_P(FormattedFat, GivesItsFoldersBack) {
    const TempDir folder;
    const std::filesystem::path path = folder / "image";
    tools::makeFat(path, 80U << 20, GetParam().first);
    std::map<std::wstring, std::string> expected;
    const std::string image = forShell(path);
    tools::run("mmd -i " + image + " ::/Holiday ::/Holiday/Beach ::/Letters");
    for (unsigned i = 0; i < 150; ++i) {
        const std::string name = "a file with a long name " + std::to_string(i) + ".bin";
        const std::string where = i % 3 == 0 ? "Letters" : i % 3 == 1 ? "Holiday" : "Holiday/Beach";
        const std::string content = noise(1'000 + 500 * i, i);
        std::ofstream(folder / "content", std::ios::binary) << content;
        tools::run("mcopy -i " + image + " " + forShell(folder / "content") + " '::/" + where +
                   "/" + name + "'");
        const std::string whole = where + "/" + name;
        expected[std::wstring(whole.begin(), whole.end())] = content;
    }
    tools::run("mkfs.fat " + std::string(GetParam().second) + " " + image);
    const std::string bytes = tools::contentOf(path);
    TestMedia media({bytes.begin(), bytes.end()});
    auto today = std::make_unique<ZFatVolume>(&media);
    today->setScanOptions(ScanOptions::today());
    today->init();
    ZFileTree tree;
    today->scan(&tree);
    ZDeepSearch search(&media, std::move(today));
    search.scan(&tree);

    std::size_t whole = 0;
    std::size_t files = 0;
    for (const auto& [id, node] : tree.allNodes()) {
        if (node.isDirectory)
            continue;
        ++files;
        ZMemoryStream content;
        const bool extracted = search.extract(node, &content);
        const std::wstring found = pathOf(tree, &node);
        // The names of the folders in the root went with the root.
        const auto one = std::find_if(expected.begin(), expected.end(), [&](const auto& file) {
            return found.ends_with(file.first.substr(file.first.find(L'/')));
        });
        if (one != expected.end() && extracted &&
            std::string(content.bytes().begin(), content.bytes().end()) == one->second)
            ++whole;
    }
    EXPECT_EQ(whole, expected.size());
    EXPECT_EQ(files, expected.size());
}

INSTANTIATE_TEST_SUITE_P(Formats, FormattedFat,
                         testing::Values(std::pair{"-F 32 -s 1", "-F 32 -s 1"},
                                         std::pair{"-F 16 -s 8", "-F 16 -s 8"},
                                         std::pair{"-F 32 -s 1", "-F 16 -s 8"},
                                         std::pair{"-F 16 -s 4", "-F 16 -s 8"}));

/// The tables and the root folder still stand, with its label and what lies in pieces.
TEST(FormerFat16, IsWholeButForItsBootSector) {
    const TempDir folder;
    const std::filesystem::path path = folder / "image";
    const std::string image = forShell(path);
    tools::makeFat(path, 32U << 20, "-F 16 -s 4 -n 'MY STICK'");
    tools::run("mmd -i " + image + " ::/Holiday ::/Holiday/Beach ::/Letters");
    std::map<std::wstring, std::string> expected;
    const auto put = [&](const std::string& name, std::size_t bytes, unsigned seed) {
        const std::string content = noise(bytes, seed);
        std::ofstream(folder / "content", std::ios::binary) << content;
        tools::run("mcopy -i " + image + " " + forShell(folder / "content") + " ::/" + name);
        const std::string whole = "Found on the former FAT volume MY STICK/" + name;
        expected[std::wstring(whole.begin(), whole.end())] = content;
    };
    for (unsigned i = 0; i < 20; ++i)
        put("short" + std::to_string(i) + ".bin", 2048, i);
    for (unsigned i = 0; i < 20; i += 2) {
        tools::run("mdel -i " + image + " ::/short" + std::to_string(i) + ".bin");
        expected.erase(L"Found on the former FAT volume MY STICK/short" + std::to_wstring(i) +
                       L".bin");
    }
    put("Holiday/Beach/pieces.bin", 15'000, 90);
    put("Letters/letter.bin", 5'000, 91);
    tools::overwrite(path, 0, std::vector<std::uint8_t>(512));
    const std::string bytes = tools::contentOf(path);
    TestMedia media({bytes.begin(), bytes.end()});
    ZDeepSearch search(&media, nullptr);
    ZFileTree tree;
    search.scan(&tree);
    for (const auto& [id, node] : tree.allNodes()) {
        const auto one = expected.find(pathOf(tree, &node));
        ZMemoryStream content;
        if (one != expected.end() && search.extract(node, &content) &&
            std::string(content.bytes().begin(), content.bytes().end()) == one->second)
            expected.erase(one);
    }
    EXPECT_TRUE(expected.empty()) << expected.size();
}

} // namespace
} // namespace kova::test
