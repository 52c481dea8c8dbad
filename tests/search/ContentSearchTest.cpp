// Files that nothing but their content tells of.
#include "engine/ZMemoryStream.h"
#include "engine/search/ZDeepSearch.h"
#include "tests/platform/Tools.h"
#include "tests/support/TestMedia.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <algorithm>
#include <map>
#include <random>

namespace kova::test {
namespace {

namespace tools = platform::test;

constexpr std::size_t kCluster = 4096;

std::vector<uint8> fileOf(const std::string& path) {
    const std::string content =
        tools::contentOf(std::filesystem::path(ORVANE_SOURCE_DIR) / "tests" / path);
    return {content.begin(), content.end()};
}

/// A drive without a file system, on which files are laid out in clusters.
class Drive {
public:
    /// Puts `bytes` from byte `from` to `to` at the next free cluster.
    void put(const std::vector<uint8>& bytes, std::size_t from, std::size_t to) {
        const std::size_t at = image_.size();
        image_.resize(at + (to - from + kCluster - 1) / kCluster * kCluster);
        std::copy(bytes.begin() + static_cast<std::ptrdiff_t>(from),
                  bytes.begin() + static_cast<std::ptrdiff_t>(to),
                  image_.begin() + static_cast<std::ptrdiff_t>(at));
    }

    void put(const std::vector<uint8>& bytes) { put(bytes, 0, bytes.size()); }

    /// Clusters of what is no file of a known kind.
    void putNoise(std::size_t clusters) {
        std::vector<uint8> noise(clusters * kCluster);
        std::generate(noise.begin(), noise.end(),
                      [this]() mutable { return static_cast<uint8>(random_() | 0x80U); });
        put(noise);
    }

    /// Contents of what is found, by the folder that it is in; incomplete ones begin with "-".
    [[nodiscard]] std::multimap<std::wstring, std::vector<uint8>> search() const {
        TestMedia media(image_);
        ZDeepSearch search(&media, nullptr);
        ZFileTree tree;
        search.scan(&tree);
        std::multimap<std::wstring, std::vector<uint8>> found;
        for (const auto& [id, node] : tree.allNodes()) {
            ZMemoryStream content;
            if (node.isDirectory)
                continue;
            const bool isWhole = search.extract(node, &content);
            found.emplace((isWhole ? L"" : L"-") + tree.find(node.parentId)->name, content.bytes());
        }
        return found;
    }

private:
    std::vector<uint8> image_ = std::vector<uint8>(kCluster);
    std::mt19937 random_{1};
};

/// An uncompressed PNG-like thing cannot be made here; pictures of the tests serve.
TEST(ContentSearch, FindsFilesOfKnownKindsToTheByte) {
    const std::map<std::string, std::wstring> files{
        {"pictures/small.jpg", L"JPEG"}, {"pictures/small.png", L"PNG"},
        {"pictures/small.gif", L"GIF"},  {"pictures/small.tif", L"TIFF"},
        {"pictures/small.psd", L"PSD"},  {"audio/data/chirp.flac", L"FLAC"},
        {"audio/data/chirp.m4a", L"M4A"}};
    Drive drive;
    for (const auto& [path, kind] : files) {
        drive.put(fileOf(path));
        drive.putNoise(1);
    }
    const auto found = drive.search();
    EXPECT_EQ(found.size(), files.size());
    for (const auto& [path, kind] : files) {
        const auto [first, last] = found.equal_range(kind);
        EXPECT_TRUE(std::any_of(first, last, [&, bytes = fileOf(path)](const auto& one) {
            return one.second == bytes;
        })) << path;
    }
}

TEST(ContentSearch, PutsPiecesTogether) {
    const std::vector<uint8> flac = fileOf("audio/data/chirp.flac");
    const std::vector<uint8> jpeg = fileOf("pictures/small.jpg");
    ASSERT_GT(flac.size(), 2 * kCluster);
    Drive drive;
    drive.put(flac, 0, kCluster);
    drive.put(jpeg); // A whole file in the gap.
    drive.put(flac, kCluster, 2 * kCluster);
    drive.putNoise(3);
    drive.put(flac, 2 * kCluster, flac.size());
    const auto found = drive.search();
    EXPECT_EQ(found.size(), 2U);
    const auto one = found.find(L"FLAC");
    ASSERT_NE(one, found.end());
    EXPECT_EQ(one->second, flac);
    EXPECT_EQ(found.count(L"JPEG"), 1U);
}

void appendBe(std::vector<uint8>& bytes, uint32 value) {
    for (int shift = 24; shift >= 0; shift -= 8)
        bytes.push_back(static_cast<uint8>(value >> shift));
}

void appendChunk(std::vector<uint8>& png, std::string_view type, const std::vector<uint8>& data) {
    appendBe(png, static_cast<uint32>(data.size()));
    const std::size_t from = png.size();
    png.insert(png.end(), type.begin(), type.end());
    png.insert(png.end(), data.begin(), data.end());
    appendBe(png, static_cast<uint32>(
                      crc32(0, png.data() + from, static_cast<uInt>(png.size() - from))));
}

/// A picture whose pixels are one chunk, as many programs write them.
std::vector<uint8> pngOfOneChunk(uint32 side) {
    std::mt19937 random(side);
    std::vector<uint8> rows;
    for (uint32 row = 0; row < side; ++row) {
        rows.push_back(static_cast<uint8>(random() % 5));
        std::generate_n(std::back_inserter(rows), side,
                        [&] { return static_cast<uint8>(random() & 0x3FU); });
    }
    uLongf packedBytes = compressBound(static_cast<uLong>(rows.size()));
    std::vector<uint8> packed(packedBytes);
    compress(packed.data(), &packedBytes, rows.data(), static_cast<uLong>(rows.size()));
    packed.resize(packedBytes);
    std::vector<uint8> png{0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    std::vector<uint8> header;
    appendBe(header, side);
    appendBe(header, side);
    header.insert(header.end(), {8, 0, 0, 0, 0});
    appendChunk(png, "IHDR", header);
    appendChunk(png, "IDAT", packed);
    appendChunk(png, "IEND", {});
    return png;
}

TEST(ContentSearch, PutsPiecesOfOneChecksumTogether) {
    const std::vector<uint8> one = pngOfOneChunk(500);
    const std::vector<uint8> other = pngOfOneChunk(501);
    Drive drive;
    for (std::size_t at = 0; at < one.size(); at += 10 * kCluster) {
        drive.put(one, at, std::min(at + 10 * kCluster, one.size()));
        drive.put(other, at, std::min(at + 10 * kCluster, other.size()));
        drive.putNoise(at / kCluster % 7);
    }
    const auto found = drive.search();
    const auto [first, last] = found.equal_range(L"PNG");
    ASSERT_EQ(std::distance(first, last), 2);
    EXPECT_EQ(first->second, one);
    EXPECT_EQ(std::next(first)->second, other);
}

std::vector<uint8> numbers(std::initializer_list<uint32> values) {
    std::vector<uint8> bytes;
    for (const uint32 value : values)
        appendBe(bytes, value);
    return bytes;
}

std::vector<uint8> box(std::string_view type, const std::vector<std::vector<uint8>>& parts) {
    std::vector<uint8> bytes(4);
    bytes.insert(bytes.end(), type.begin(), type.end());
    for (const std::vector<uint8>& part : parts)
        bytes.insert(bytes.end(), part.begin(), part.end());
    const std::vector<uint8> length = numbers({static_cast<uint32>(bytes.size())});
    std::copy(length.begin(), length.end(), bytes.begin());
    return bytes;
}

/// A movie of pictures of one unit each, whose tables lie before them or behind.
std::vector<uint8> movie(bool tablesFirst) {
    constexpr uint32 kPictures = 300;
    constexpr uint32 kUnit = 700;
    std::mt19937 random(tablesFirst ? 1 : 2);
    std::vector<uint8> data;
    std::vector<uint8> sizes = numbers({0, 0, kPictures});
    for (uint32 i = 0; i < kPictures; ++i) {
        const uint32 length = kUnit + i % 90;
        appendBe(sizes, 4 + length);
        appendBe(data, length);
        data.push_back(0x41); // A part of a picture.
        std::generate_n(std::back_inserter(data), length - 1,
                        [&] { return static_cast<uint8>(random()); });
    }
    const std::vector<uint8> type = box("ftyp", {{'i', 's', 'o', 'm'}, numbers({0})});
    const auto tables = [&](uint32 at) {
        const auto coding =
            box("avc1", {std::vector<uint8>(78), box("avcC", {numbers({0, 0xFF000000})})});
        const auto table =
            box("stbl", {box("stsd", {numbers({0, 1}), coding}), box("stsz", {sizes}),
                         box("stsc", {numbers({0, 1, 1, kPictures, 1})}),
                         box("stco", {numbers({0, 1, at})})});
        return box("moov", {box("trak", {box("mdia", {box("minf", {table})})})});
    };
    const auto before = static_cast<uint32>(type.size() + (tablesFirst ? tables(0).size() : 0));
    std::vector<uint8> file = type;
    const auto append = [&file](const std::vector<uint8>& part) {
        file.insert(file.end(), part.begin(), part.end());
    };
    if (tablesFirst)
        append(tables(before + 8));
    append(box("mdat", {data}));
    if (!tablesFirst)
        append(tables(before + 8));
    return file;
}

TEST(ContentSearch, PutsPiecesTogetherAsTheTablesOfAMovieTell) {
    for (const bool tablesFirst : {true, false}) {
        const std::vector<uint8> film = movie(tablesFirst);
        Drive drive;
        for (std::size_t at = 0; at < film.size(); at += 12 * kCluster) {
            drive.put(film, at, std::min(at + 12 * kCluster, film.size()));
            drive.putNoise(3);
        }
        const auto found = drive.search();
        EXPECT_EQ(found.size(), 1U);
        const auto one = found.find(L"MP4");
        ASSERT_NE(one, found.end());
        EXPECT_EQ(one->second, film);
    }
}

/// A picture of which nothing but its length is told does not get what another's checksums prove.
TEST(ContentSearch, GivesNoBytesAwayThatAreProvenToBeAnothers) {
    const std::vector<uint8> png = pngOfOneChunk(250);
    std::string text = "P5\n400 400\n255\n";
    text.append(160'000, 'x');
    const std::vector<uint8> plain(text.begin(), text.end());
    for (const std::size_t before : {std::size_t{0}, 6 * kCluster}) {
        Drive drive;
        drive.put(png, 0, before);
        drive.put(plain, 0, 9 * kCluster);
        drive.put(png, before, png.size());
        drive.put(plain, 9 * kCluster, plain.size());
        const auto found = drive.search();
        EXPECT_EQ(found.size(), 2U);
        EXPECT_EQ(found.count(L"PNG"), 1U);
        EXPECT_EQ(found.count(L"-Portable map"), 1U);
    }
    // Nor what is packed, and no part of it.
    std::mt19937 random(1);
    std::vector<uint8> packed(20 * kCluster);
    std::generate(packed.begin(), packed.end(), [&] { return static_cast<uint8>(random()); });
    Drive drive;
    drive.put(plain, 0, 6 * kCluster);
    drive.put(packed);
    drive.put(plain, 6 * kCluster, plain.size());
    EXPECT_EQ(drive.search().count(L"Portable map"), 0U);
    drive.put(plain);
    EXPECT_EQ(drive.search().count(L"Portable map"), 1U);
}

/// Characters are everywhere; only what begins and ends as a file does is one.
TEST(ContentSearch, CallsNoPieceOfSomethingElseAWholeText) {
    std::string lines;
    while (lines.size() < 3 * kCluster)
        lines += "a line of text\n";
    const std::vector<uint8> text(lines.begin(), lines.end());
    Drive drive;
    drive.put(text, 0, 1000); // A text by itself.
    std::vector<uint8> headed(text.begin(), text.begin() + 700);
    headed.resize(2 * kCluster, 1);
    drive.put(headed);                // What begins with characters.
    drive.put(text, 0, 900);          // What ends with them.
    drive.put(text, 0, 3 * kCluster); // What goes on elsewhere.
    drive.put(std::vector<uint8>(kCluster, 1));
    const auto found = drive.search();
    EXPECT_EQ(found.size(), 2U);
    const auto whole = found.find(L"Text");
    ASSERT_NE(whole, found.end());
    EXPECT_EQ(whole->second.size(), 1000U);
    EXPECT_EQ(found.count(L"-Text"), 1U);
}

} // namespace
} // namespace kova::test
