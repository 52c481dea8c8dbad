// A drive read raw by its letter gives just what its image gives.

#include "engine/ZMemoryStream.h"
#include "engine/ZTreeListing.h"
#include "engine/openVolume.h"
#include "platform/Drives.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <memory>

namespace kova::test {
namespace {

using Contents = std::map<std::wstring, std::vector<uint8>>;

/// The deleted files on a drive, by their paths.
Contents deletedFiles(char letter) {
    Contents files;
    ZCustomMedia media;
    EXPECT_TRUE(media.openDrive(letter));
    const std::unique_ptr<ZVolume> volume(openVolume(&media));
    if (!volume)
        return files;
    EXPECT_TRUE(volume->init());
    ZFileTree tree;
    volume->scan(&tree);
    const ZTreeListing listing(tree);
    for (std::size_t i = 0; i < listing.entries().size(); ++i) {
        const ZFileTreeNode& node = *listing.entries()[i].node;
        ZMemoryStream content;
        if (!node.isDirectory && volume->extract(node, &content))
            files[listing.path(i)].assign(content.bytes().begin(), content.bytes().end());
    }
    return files;
}

TEST(WindowsDrives, GiveWhatTheirImagesGive) {
    const std::pair<char, const wchar_t*> samples[] = {{'D', L"D:\\ntfs.img"},
                                                       {'E', L"E:\\fat.img"}};
    for (const auto& [letter, image] : samples) {
        SCOPED_TRACE(letter);
        if (!std::filesystem::exists(image))
            GTEST_SKIP() << "the sample drives are not set up";
        const auto attached = platform::attachImage(image);
        ASSERT_EQ(attached.drives.size(), 1U);
        const Contents files = deletedFiles(letter);
        EXPECT_GT(files.size(), 10U);
        EXPECT_TRUE(files == deletedFiles(attached.drives[0].letter));
    }
}

} // namespace
} // namespace kova::test
