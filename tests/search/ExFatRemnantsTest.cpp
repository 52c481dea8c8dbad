// A card whose boot sectors, and perhaps its table, are gone.
#include "engine/ZMemoryStream.h"
#include "engine/search/ZDeepSearch.h"
#include "tests/support/ExFatBuilder.h"
#include "tests/support/TestMedia.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <string>

namespace kova::test {
namespace {

constexpr uint32 kCluster = 4096;
constexpr std::size_t kBootRegions = 24 * 512;

std::string noise(std::size_t size, unsigned seed) {
    std::string content(size, '\0');
    std::generate(content.begin(), content.end(),
                  [random = std::mt19937(seed)]() mutable { return static_cast<char>(random()); });
    return content;
}

struct Former {
    std::vector<uint8> bytes;
    std::map<std::wstring, std::string> inOnePiece; ///< By folder and name.
    std::string inPieces;                           ///< Of "Two/pieces.bin".
};

Former formerVolume() {
    Former former;
    ExFatBuilder builder;
    const std::vector<uint8> label = {0x83, 4, 'C', 0, 'A', 0, 'R', 0, 'D', 0};
    std::vector<uint8> entry(exfat::DirectoryEntry::kBytes);
    std::ranges::copy(label, entry.begin());
    builder.add(0, entry);
    const std::string top = noise(5000, 98);
    builder.addFile(0, {.name = u"top.bin"}, top);
    former.inOnePiece[L"Found on the former exFAT volume CARD/top.bin"] = top;
    uint32 folder = 0;
    unsigned number = 0;
    for (const std::u16string name : {u"One", u"Two", u"Three"}) {
        folder = builder.addFolder(folder, {.name = name});
        for (const char16_t letter : {u'a', u'b', u'c', u'd', u'e'}) {
            ++number;
            const std::u16string file = std::u16string(u"file ") + letter + u".bin";
            const std::string content = noise(3000 + 2000 * number, number);
            builder.addFile(folder, {.name = file}, content);
            former.inOnePiece[std::wstring(name.begin(), name.end()) + L"/" +
                              std::wstring(file.begin(), file.end())] = content;
        }
        if (name != u"Two")
            continue;
        const uint32 first = builder.allocate();
        builder.allocate(); // Somebody else's.
        const uint32 second = builder.allocate();
        former.inPieces = noise(kCluster + 1000, 99);
        std::ranges::copy(former.inPieces.substr(0, kCluster), builder.cluster(first).begin());
        std::ranges::copy(former.inPieces.substr(kCluster), builder.cluster(second).begin());
        builder.setFat(first, second);
        builder.setFat(second, 0xFFFFFFFF);
        builder.add(folder, entrySet({.name = u"pieces.bin",
                                      .noFatChain = false,
                                      .cluster = first,
                                      .size = former.inPieces.size()}));
    }
    former.bytes = builder.bytes();
    std::fill_n(former.bytes.begin(), kBootRegions, uint8{0});
    return former;
}

/// Contents of what comes out, by folder and name.
std::map<std::wstring, std::string> foundOn(const std::vector<uint8>& bytes) {
    TestMedia media(bytes);
    ZDeepSearch search(&media, nullptr);
    ZFileTree tree;
    search.scan(&tree);
    std::map<std::wstring, std::string> found;
    for (const auto& [id, node] : tree.allNodes()) {
        ZMemoryStream content;
        if (!node.isDirectory && search.extract(node, &content))
            found[tree.find(node.parentId)->name + L"/" + node.name] = {content.bytes().begin(),
                                                                        content.bytes().end()};
    }
    return found;
}

TEST(ExFatRemnants, GiveFoldersBackWithoutTheBootSectors) {
    const Former former = formerVolume();
    const auto found = foundOn(former.bytes);
    EXPECT_EQ(found.size(), former.inOnePiece.size() + 1);
    for (const auto& [name, content] : former.inOnePiece)
        EXPECT_TRUE(found.contains(name) && found.at(name) == content);
    EXPECT_TRUE(found.contains(L"Two/pieces.bin") &&
                found.at(L"Two/pieces.bin") == former.inPieces);
}

TEST(ExFatRemnants, GiveWhatLiesInOnePieceWithoutTheTableToo) {
    Former former = formerVolume();
    // The table stands before the clusters, which begin with the bitmap.
    constexpr std::size_t kSectors = 512;
    for (std::size_t at = 0; at < former.bytes.size(); at += kSectors) {
        if (former.bytes[at] == 0xF8 && former.bytes[at + 4] == 0xFF)
            std::fill_n(former.bytes.begin() + static_cast<std::ptrdiff_t>(at), 2 * kSectors,
                        uint8{0});
    }
    const auto found = foundOn(former.bytes);
    for (const auto& [name, content] : former.inOnePiece)
        EXPECT_TRUE(found.contains(name) && found.at(name) == content);
}

} // namespace
} // namespace kova::test
