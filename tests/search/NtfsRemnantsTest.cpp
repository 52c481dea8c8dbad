// Volumes that were formatted once more, by the tools that people do it with.
#include "engine/ZMemoryStream.h"
#include "engine/ntfs/ZNtfsVolume.h"
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

constexpr std::uintmax_t kVolumeBytes = 16U << 20;

std::string noise(std::size_t size, unsigned seed) {
    std::string content(size, '\0');
    std::generate(content.begin(), content.end(),
                  [random = std::mt19937(seed)]() mutable { return static_cast<char>(random()); });
    return content;
}

struct Found {
    std::string content;
    bool isWhole = false;
};

/// What comes out, by folder and name.
std::map<std::wstring, Found> foundOn(ZCustomMedia& media, std::unique_ptr<ZVolume> today) {
    ZFileTree tree;
    if (today)
        today->scan(&tree);
    ZDeepSearch search(&media, std::move(today));
    search.scan(&tree);
    EXPECT_NE(tree.find(tree.rootId), nullptr) << "nothing would be shown";
    std::map<std::wstring, Found> all;
    for (const auto& [id, node] : tree.allNodes()) {
        if (node.isDirectory)
            continue;
        const ZFileTreeNode* folder = tree.find(node.parentId);
        ZMemoryStream content;
        const bool extracted = search.extract(node, &content);
        const auto state = search.assess(node).kind;
        all[(folder == nullptr ? L"" : folder->name) + L"/" + node.name] = {
            {content.bytes().begin(), content.bytes().end()},
            extracted && state != FileState::Kind::Partly};
    }
    return all;
}

std::unique_ptr<ZVolume> ntfsOn(ZCustomMedia& media) {
    auto volume = std::make_unique<ZNtfsVolume>(&media);
    volume->setScanOptions(ScanOptions::today());
    volume->init();
    return volume;
}

struct Format {
    const char* name;
    uint32 before; ///< Bytes per cluster.
    uint32 after;  ///< 0: no file system any more.
};

class FormattedNtfs : public testing::TestWithParam<Format> {};

TEST_P(FormattedNtfs, GivesItsFilesBack) {
    const TempDir folder;
    const std::filesystem::path path = folder / "image";
    tools::makeNtfs(path, kVolumeBytes, "-p 0 -H 0 -S 0 -c " + std::to_string(GetParam().before));
    std::map<std::wstring, std::string> expected;
    for (unsigned i = 0; i < 40; ++i) {
        const std::string name = "file" + std::to_string(i) + ".bin";
        const std::string content = noise(i % 4 == 0 ? 300 : 5'000 * i, i);
        std::ofstream(folder / name, std::ios::binary) << content;
        tools::run("ntfscp -f -q " + forShell(path) + " " + forShell(folder / name) + " " + name);
        expected[L"Found on the former NTFS volume/" + std::wstring(name.begin(), name.end())] =
            content;
    }
    const bool formats = GetParam().after != 0;
    if (formats)
        tools::run("mkntfs -q -F -Q -p 0 -H 0 -S 0 -c " + std::to_string(GetParam().after) + " " +
                   forShell(path));
    else
        tools::overwrite(path, 0, std::vector<std::uint8_t>(8192));
    const std::string bytes = tools::contentOf(path);
    TestMedia media({bytes.begin(), bytes.end()});
    const auto found = foundOn(media, formats ? ntfsOn(media) : nullptr);
    EXPECT_EQ(found.size(), expected.size());
    std::size_t whole = 0;
    for (const auto& [name, content] : expected) {
        const auto it = found.find(name);
        ASSERT_NE(it, found.end());
        EXPECT_EQ(it->second.isWhole, it->second.content == content);
        whole += it->second.isWhole ? 1U : 0U;
    }
    // The new file system has taken a cluster or two for itself.
    EXPECT_GE(whole, expected.size() - 1);
}

INSTANTIATE_TEST_SUITE_P(Formats, FormattedNtfs,
                         testing::Values(Format{"SameClusters", 4096, 4096},
                                         Format{"OtherClusters", 4096, 8192},
                                         Format{"Smaller", 8192, 4096}, Format{"NoMore", 4096, 0}),
                         [](const auto& parameter) { return parameter.param.name; });

/// Frees all clusters of a volume but those of its folders' indexes, which stay live.
void freeClusters(std::string& bytes) {
    TestMedia media({bytes.begin(), bytes.end()});
    const std::unique_ptr<ZVolume> volume = ntfsOn(media);
    ZFileTreeNode map;
    map.id = ntfs::kVolumeBitmapRecord;
    const std::size_t start = volume->placeOf(map).at(0).start;
    std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(start),
                volume->clusterLayout().count / 8, '\0');
    for (const ByteRange& place : dynamic_cast<ZNtfsVolume&>(*volume).folderIndexes().places) {
        for (uint64 at = place.start / 4096; at * 4096 < place.end(); ++at)
            bytes[start + at / 8] = static_cast<char>(bytes[start + at / 8] | 1 << (at % 8));
    }
}

class NtfsNames : public testing::TestWithParam<bool> {};

/// The records are gone, what the root folder says of its files is left: in free space, or in what
/// is still that folder.
TEST_P(NtfsNames, NamesByItsFoldersWhatContentFinds) {
    constexpr int kOwnRecords = 64; // Of the volume's own files; the others come after them.
    constexpr int kLiveRecord = kOwnRecords + 6; // Its file is live, and keeps its name.
    const bool isLive = GetParam();
    const TempDir folder;
    const std::filesystem::path path = folder / "image";
    // Large enough for the index to lie farther from the MFT than what may be held for it.
    tools::makeNtfs(path, 4 * kVolumeBytes, "-p 0 -H 0 -S 0 -c 4096");
    std::map<std::wstring, std::string> expected;
    for (unsigned i = 0; i < 20; ++i) {
        // The last two are of one size, so that nothing tells them apart.
        const unsigned lines = 200 + std::min(i, 18U);
        const std::string name = "letter " + std::to_string(i) + ".txt";
        std::string content;
        for (unsigned line = 0; line < lines; ++line)
            content += std::to_string(1000 + i) + " times hello\n";
        std::ofstream(folder / "content", std::ios::binary) << content;
        tools::run("ntfscp -f -q " + forShell(path) + " " + forShell(folder / "content") + " '" +
                   name + "'");
        if (lines < 218)
            expected[L"Found by content, names from folders/" +
                     std::wstring(name.begin(), name.end())] = content;
    }
    std::string bytes = tools::contentOf(path);
    if (isLive) {
        freeClusters(bytes);
        expected.erase(L"Found by content, names from folders/letter 5.txt");
    }
    int records = 0;
    for (std::size_t at = 0; at < bytes.size(); at += 1024) {
        if (bytes.compare(at, 4, "FILE") != 0)
            continue;
        ++records;
        if (!isLive || (records > kOwnRecords && records != kLiveRecord))
            std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(at), 1024, '\0');
    }
    if (!isLive) {
        std::fill_n(bytes.begin(), 512, '\0');
        std::fill_n(bytes.end() - 512, 512, '\0');
    }
    TestMedia media({bytes.begin(), bytes.end()});
    std::size_t named = 0;
    for (const auto& [name, file] : foundOn(media, isLive ? ntfsOn(media) : nullptr)) {
        const auto one = expected.find(name);
        EXPECT_TRUE(one == expected.end() ? name.starts_with(L"Text/")
                                          : one->second == file.content);
        named += one == expected.end() ? 0U : 1U;
    }
    // The name between two blocks of the index stood in the folder's record.
    EXPECT_GE(named, expected.size() - 1);
}

INSTANTIATE_TEST_SUITE_P(Folders, NtfsNames, testing::Bool(),
                         [](const auto& parameter) { return parameter.param ? "Live" : "Gone"; });

} // namespace
} // namespace kova::test
