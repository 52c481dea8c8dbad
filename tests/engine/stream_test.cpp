#include "engine/ZFileStream.h"
#include "engine/ZMemoryStream.h"
#include "format/WideText.h"
#include "tests/support/TempDir.h"

#include <gtest/gtest.h>

#include <string>

namespace kova::test {
namespace {

constexpr uint32 kCreateAlways = 2;
constexpr uint32 kOpenExisting = 3;
constexpr uint32 kReadWrite = platform::kGenericRead | platform::kGenericWrite;

std::string readAll(ZStream& stream) {
    std::string content(static_cast<std::size_t>(stream.size()), '\0');
    if (!content.empty()) {
        stream.seek(0, 0);
        EXPECT_EQ(stream.read(content.data(), static_cast<uint32>(content.size())), content.size());
    }
    return content;
}

TEST(MemoryStream, WritesReadsAndFills) {
    ZMemoryStream stream;
    EXPECT_EQ(stream.write("0123456789", 10), 10U);
    char byte = 0;
    EXPECT_EQ(stream.read(&byte, 1), 0U) << "at the end there is nothing";
    EXPECT_EQ(stream.seek(-3, 2), 7);
    EXPECT_EQ(stream.fill('x', 5), 5U);
    EXPECT_EQ(readAll(stream), "0123456xxxxx");
    EXPECT_EQ(stream.seek(2, 0), 2);
    EXPECT_EQ(stream.seek(3, 1), 5);
    char rest[20] = {};
    EXPECT_EQ(stream.read(rest, 20), 7U);
    EXPECT_EQ(std::string(rest), "56xxxxx");
    stream.resize(4);
    stream.write("!", 1);
    EXPECT_EQ(readAll(stream), "0123!") << "the position followed the new end";
}

TEST(MemoryStream, SeeksOnlyInside) {
    ZMemoryStream stream;
    EXPECT_THROW(stream.seek(0, 0), int);
    stream.write("abc", 3);
    EXPECT_EQ(stream.seek(2, 0), 2);
    EXPECT_THROW(stream.seek(3, 0), int);
    EXPECT_THROW(stream.seek(0, 2), int);
    EXPECT_THROW(stream.seek(-1, 0), int);
    EXPECT_THROW(stream.seek(std::numeric_limits<int64>::max(), 1), int);
    EXPECT_THROW(stream.seek(std::numeric_limits<int64>::min(), 2), int);
    EXPECT_THROW(stream.seek(0, 3), int);
    EXPECT_EQ(stream.seek(0, 1), 2) << "a failed seek moves nothing";
}

class FileStream : public testing::Test {
protected:
    TempDir folder;
    std::wstring path = format::wideFromUtf8((folder / "file").string());
};

TEST_F(FileStream, Resizes) {
    ZFileStream stream(path.c_str(), kCreateAlways, kReadWrite);
    stream.write("0123456789", 10);
    stream.resize(20);
    EXPECT_EQ(stream.seek(0, 1), 10) << "a longer file keeps the position";
    stream.resize(5);
    EXPECT_EQ(stream.seek(0, 1), 5) << "a shorter one is left at its end";
    stream.write("x", 1);
    EXPECT_EQ(readAll(stream), "01234x");
}

TEST_F(FileStream, ZerosAtTheEndStaySparse) {
    ZFileStream stream(path.c_str(), kCreateAlways, kReadWrite);
    stream.write("a", 1);
    EXPECT_EQ(stream.fill(0, 0xFFFFFFFF), 0xFFFFFFFFU);
    stream.write("b", 1);
    EXPECT_EQ(stream.size(), int64{0xFFFFFFFF} + 2);
    stream.seek(-2, 2);
    char tail[2] = {'?', '?'};
    EXPECT_EQ(stream.read(tail, 2), 2U);
    EXPECT_EQ(std::string(tail, 2), std::string("\0b", 2));
    // Inside the file zeros are written.
    EXPECT_EQ(stream.seek(0, 0), 0);
    stream.fill(0, 1);
    stream.seek(0, 0);
    stream.read(tail, 1);
    EXPECT_EQ(tail[0], '\0');
}

TEST_F(FileStream, FailuresThrowZero) {
    ZFileStream none(nullptr, 0, 0);
    EXPECT_FALSE(none.isOpen());
    EXPECT_THROW(none.size(), int);
    EXPECT_THROW(none.write("a", 1), int);
    EXPECT_EQ(none.write("", 0), 0U);
    EXPECT_THROW(none.seek(0, 0), int);

    EXPECT_FALSE(ZFileStream(path.c_str(), kOpenExisting, kReadWrite).isOpen());
    ZFileStream(path.c_str(), kCreateAlways, kReadWrite).write("abc", 3);
    ZFileStream readOnly(path.c_str(), kOpenExisting, platform::kGenericRead);
    EXPECT_THROW(readOnly.write("a", 1), int);
    EXPECT_THROW(readOnly.resize(1), int);
    EXPECT_THROW(readOnly.seek(-1, 0), int);
    EXPECT_EQ(readAll(readOnly), "abc");
}

} // namespace
} // namespace kova::test
