// Searches that end early, are kept in a text, and go on.
#include "engine/ZMemoryStream.h"
#include "engine/search/ZDeepSearch.h"
#include "engine/search/savedSearchLines.h"
#include "tests/platform/Tools.h"
#include "tests/support/ExFatBuilder.h"
#include "tests/support/FatBuilder.h"
#include "tests/support/TempDir.h"
#include "tests/support/TestMedia.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>

namespace kova::test {
namespace {

namespace tools = platform::test;

constexpr std::size_t kBoot = 24 * 512;

std::vector<uint8> bytesOf(const std::filesystem::path& path) {
    const std::string content = tools::contentOf(path);
    return {content.begin(), content.end()};
}

std::vector<uint8> fileOf(const std::string& path) {
    return bytesOf(std::filesystem::path(ORVANE_SOURCE_DIR) / "tests" / path);
}

std::string text(std::size_t size) {
    std::string lines;
    while (lines.size() < size)
        lines += std::to_string(lines.size()) + " letters until here\n";
    return lines;
}

/// What three former volumes have left, and files that nothing leads to, on more than one stretch
/// that is read at once.
std::vector<uint8> usedDrive() {
    std::vector<uint8> drive;
    const auto put = [&drive](std::vector<uint8> bytes, std::size_t boot = 0) {
        std::fill_n(bytes.begin(), boot, uint8{0});
        drive.insert(drive.end(), bytes.begin(), bytes.end());
        drive.resize((drive.size() + 4095) / 4096 * 4096);
    };
    const auto putPart = [&put](const std::vector<uint8>& bytes, std::size_t from, std::size_t to) {
        put({bytes.begin() + static_cast<std::ptrdiff_t>(from),
             bytes.begin() + static_cast<std::ptrdiff_t>(to)});
    };
    const TempDir work;
    tools::makeNtfs(work / "ntfs", 3U << 20, "-p 0 -H 0 -S 0 -c 4096");
    for (const std::size_t size : {300U, 7000U}) {
        std::ofstream(work / "letter") << text(size);
        tools::run("ntfscp -q " + forShell(work / "ntfs") + " " + forShell(work / "letter") +
                   " letter" + std::to_string(size) + ".txt");
    }
    put(bytesOf(work / "ntfs"), 512);
    const std::vector<uint8> flac = fileOf("audio/data/chirp.flac");
    putPart(flac, 0, 4096);
    put(fileOf("pictures/small.jpg"));
    putPart(flac, 4096, flac.size());
    drive.resize(std::size_t{5} << 20);
    ExFatBuilder exfat;
    const uint32 folder = exfat.addFolder(0, {.name = u"Letters"});
    exfat.addFile(exfat.addFolder(folder, {.name = u"Old"}), {.name = u"one.txt"}, text(5000));
    exfat.addFile(folder, {.name = u"two.txt"}, text(9000));
    const uint32 first = exfat.allocate();
    exfat.allocate(); // Somebody else's.
    const uint32 second = exfat.allocate();
    std::ranges::fill(exfat.cluster(second), uint8{7});
    exfat.setFat(first, second);
    exfat.setFat(second, 0xFFFFFFFF);
    exfat.add(
        folder,
        entrySet({.name = u"pieces.bin", .noFatChain = false, .cluster = first, .size = 5000}));
    put(exfat.bytes(), kBoot);
    FatBuilder fat({.type = FatType::Fat16});
    // So many that the folder takes a sector more.
    const uint32 above = fat.addDirectory(0, {.name = "ABOVE", .longName = u"above"});
    fat.addFile(fat.addDirectory(above, {.name = "BELOW", .longName = u"below"}),
                {.name = "THREE.TXT", .longName = u"three.txt"}, text(3000));
    for (char name = 'A'; name <= 'Z'; ++name)
        fat.addFile(above, {.name = std::string(1, name), .longName = u"a long name"}, text(700));
    put(fat.bytes(), 512);
    const std::string lines = text(6000);
    put({lines.begin(), lines.end()});
    put(fileOf("pictures/small.png"));
    drive.resize(drive.size() + (std::size_t{5} << 20));
    put(fileOf("pictures/small.tif"));
    return drive;
}

using Files = std::map<std::wstring, std::vector<uint8>>;

/// What a search comes to, by path, whole or not.
Files filesOf(TestMedia& media, SearchKeeping keeping) {
    ZDeepSearch search(&media, nullptr);
    search.setKeeping(std::move(keeping));
    ZFileTree tree;
    search.scan(&tree);
    Files files;
    for (const auto& [id, node] : tree.allNodes()) {
        ZMemoryStream content;
        std::wstring path = node.name;
        if (!node.isDirectory)
            path += search.extract(node, &content) ? L" whole" : L" in part";
        for (auto above = tree.find(node.parentId); above && above->id != tree.rootId;
             above = tree.find(above->parentId))
            path = above->name + L"/" + path;
        files.emplace(std::move(path), content.bytes());
    }
    return files;
}

std::string linesOf(const SavedSearch& search) {
    std::string lines;
    writeLines(search, [&lines](std::string_view line) { lines += line; });
    return lines;
}

/// Searches until the drive goes away, and gives what is kept then.
std::string keptUntil(TestMedia& media, SearchKeeping keeping, int requests) {
    std::string kept;
    keeping.volume = SearchedVolume::of(media, {});
    keeping.keep = [&kept](const SavedSearch& saved) { kept = linesOf(saved); };
    media.unplugAfter(requests);
    filesOf(media, std::move(keeping));
    return kept;
}

TEST(SavedSearch, ComesToTheSameHoweverOftenItIsBrokenOff) {
    const std::vector<uint8> drive = usedDrive();
    TestMedia whole(drive);
    const Files expected = filesOf(whole, {});
    for (const auto* part : {L"NTFS", L"FAT", L"exFAT"}) {
        const std::wstring folder = std::wstring(L"Found on the former ") + part + L" volume";
        EXPECT_TRUE(std::ranges::any_of(expected, [&](const auto& file) {
            return file.first.starts_with(folder);
        })) << testing::PrintToString(folder);
    }
    const int requests = whole.requests();
    for (int first = 0; first < requests; first += 1 + requests / 40) {
        TestMedia once(drive);
        const std::string begun = keptUntil(once, {}, first);
        auto before = readLines(begun);
        ASSERT_TRUE(before) << first;
        EXPECT_EQ(linesOf(*before), begun);
        TestMedia twice(drive);
        const std::string further =
            keptUntil(twice, {{}, std::move(before), true, {}}, requests / 3);
        // A search that does not even come to where the first one was has nothing to tell.
        before = readLines(further.empty() ? begun : further);
        ASSERT_TRUE(before);
        TestMedia last(drive);
        EXPECT_EQ(filesOf(last, {{}, std::move(before), true, {}}), expected) << first;
    }
    TestMedia media(drive);
    const std::string all = keptUntil(media, {}, -1);
    TestMedia later(drive);
    EXPECT_EQ(filesOf(later, {{}, readLines(all), false, {}}), expected);
    EXPECT_LT(later.bytesRead(), whole.bytesRead() / 2);
}

TEST(SavedSearch, IsRefusedWhenItIsDamaged) {
    TestMedia media(usedDrive());
    const std::string lines = keptUntil(media, {}, -1);
    ASSERT_TRUE(readLines(lines));
    for (std::size_t at = 0; at < lines.size(); at += 1 + lines.size() / 200) {
        EXPECT_FALSE(readLines(lines.substr(0, at))) << at;
        std::string damaged = lines;
        damaged[at] = static_cast<char>(damaged[at] ^ 1);
        EXPECT_FALSE(readLines(damaged)) << at;
    }
}

} // namespace
} // namespace kova::test
