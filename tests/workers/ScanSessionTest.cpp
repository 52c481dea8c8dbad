// Scans and searches of drives that fail.
#include "workers/ScanSession.h"
#include "engine/ntfs/ZNtfsVolume.h"
#include "tests/platform/Tools.h"
#include "tests/support/NtfsBuilder.h"
#include "tests/support/TestMedia.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <new>
#include <optional>

namespace {

namespace fs = std::filesystem;
using kova::test::TestMedia;

constexpr std::size_t kStretch = std::size_t{8} << 20;

/// A picture at the beginning of each of three stretches, each longer than what is read at once.
std::vector<kova::uint8> drive(const std::string& picture) {
    std::vector<kova::uint8> bytes(3 * kStretch);
    for (std::size_t i = 0; i < 3; ++i)
        std::copy(picture.begin(), picture.end(),
                  bytes.begin() + static_cast<std::ptrdiff_t>(i * kStretch));
    return bytes;
}

ScannedVolume onDrive(std::unique_ptr<TestMedia> media) {
    ScannedVolume scanned;
    scanned.setMedia(std::move(media));
    scanned.setTree(std::make_unique<kova::ZFileTree>());
    return scanned;
}

/// No moment passes for bad sectors, a damaged volume or a scan that is done.
TEST(ScanOfADrive, SaysThatTheDriveWasUnplugged) {
    const auto bytes = kova::test::NtfsBuilder().build();
    bool wasGone = false;
    bool wasRemoved = false;
    for (int requests = 0;; ++requests) {
        auto media = std::make_unique<TestMedia>(bytes);
        media->unplugAfter(requests);
        auto volume = std::make_unique<kova::ZNtfsVolume>(media.get());
        ScannedVolume scanned = onDrive(std::move(media));
        scanned.setVolume(std::move(volume));
        ScanSession session(kova::ScanOptions::today(), std::move(scanned));
        const bool isPrepared = session.prepare();
        if (isPrepared && session.scan())
            break;
        EXPECT_EQ(session.end(), isPrepared ? ScanSession::End::Removed : ScanSession::End::Gone)
            << requests;
        (isPrepared ? wasRemoved : wasGone) = true;
        ASSERT_LT(requests, 100);
    }
    EXPECT_TRUE(wasGone && wasRemoved);
}

/// Not with all that follow left out, as if each of their records were damaged.
TEST(ScanOfADrive, EndsWithWhatWasFoundWhenMemoryRunsOut) {
    kova::test::NtfsBuilder builder;
    for (kova::uint32 number = 20; number < 30; ++number)
        builder.deletedFile(number, 5, u"file", "1");
    auto media = std::make_unique<TestMedia>(builder.build());
    auto volume = std::make_unique<kova::ZNtfsVolume>(media.get());
    ScannedVolume scanned = onDrive(std::move(media));
    scanned.setVolume(std::move(volume));
    ScanSession session(kova::ScanOptions::today(), std::move(scanned));
    ASSERT_TRUE(session.prepare());
    session.tree().filter = [](const kova::ZFileTreeNode& node) {
        return node.id < 25 ? true : throw std::bad_alloc();
    };
    EXPECT_FALSE(session.scan());
    EXPECT_EQ(session.end(), ScanSession::End::BrokenOff);
    EXPECT_EQ(session.tree().childIds(5).size(), 5U);
}

/// Unplugged during a search: it ends, says so, and has and keeps what it found until then.
TEST(SearchOfADrive, KeepsWhatItFoundUntilTheDriveWasUnplugged) {
    const std::string picture =
        platform::test::contentOf(fs::path(ORVANE_SOURCE_DIR) / "tests/pictures/small.png");
    constexpr std::size_t kPictures = 3;
    std::size_t mostFound = 0;
    for (int requests = 0; mostFound < kPictures; ++requests) {
        auto media = std::make_unique<TestMedia>(drive(picture));
        media->unplugAfter(requests);
        ScanSession session(kova::ScanOptions::today(), onDrive(std::move(media)));
        std::optional<kova::SavedSearch> kept;
        kova::SearchKeeping keeping;
        keeping.keep = [&kept](const kova::SavedSearch& saved) { kept = saved; };
        const bool reachedEnd = session.search({}, std::move(keeping));
        EXPECT_EQ(session.end(), reachedEnd ? ScanSession::End::Done : ScanSession::End::Removed);
        std::size_t found = 0;
        for (const auto& [id, node] : session.tree().allNodes()) {
            if (node.isDirectory)
                continue;
            EXPECT_EQ(node.size, static_cast<kova::int64>(picture.size()));
            EXPECT_EQ(session.volume()->placeOf(node).front().start % kStretch, 0U);
            ++found;
        }
        EXPECT_GE(found, mostFound) << requests;
        mostFound = found;
        ASSERT_TRUE(kept);
        EXPECT_EQ(kept->content.finds.size(), found);
        EXPECT_EQ(kept->searched == 3 * kStretch, reachedEnd);
        ASSERT_LT(requests, 100);
    }
}

/// Stopped in the middle by one who looks at what there is, and wants the rest after all.
TEST(SearchOfADrive, GoesOnWhereItWasStopped) {
    const std::string picture =
        platform::test::contentOf(fs::path(ORVANE_SOURCE_DIR) / "tests/pictures/small.png");
    ScanSession first(kova::ScanOptions::today(),
                      onDrive(std::make_unique<TestMedia>(drive(picture))));
    first.setWatcher([&first](double progress) {
        if (progress > 0.4)
            first.finishSearch();
        return true;
    });
    EXPECT_FALSE(first.search({}));
    EXPECT_EQ(first.end(), ScanSession::End::Stopped);
    ASSERT_TRUE(first.canGoOnSearching());
    const auto pictures = [](const ScanSession& session) {
        return std::ranges::count_if(session.tree().allNodes(),
                                     [](const auto& one) { return !one.second.isDirectory; });
    };
    EXPECT_EQ(pictures(first), 2);
    auto& media = static_cast<TestMedia&>(first.media());
    const kova::uint64 bytesRead = media.bytesRead();
    ScanSession second(kova::ScanOptions::today(), first.take());
    EXPECT_TRUE(second.search({}));
    EXPECT_FALSE(second.canGoOnSearching());
    EXPECT_EQ(pictures(second), 3);
    EXPECT_LT(media.bytesRead() - bytesRead, 2 * kStretch);
}

} // namespace
