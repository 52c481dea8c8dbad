#include "pages/ScanFrame.h"

#include "engine/ZFileTree.h"
#include "engine/ZMemoryStream.h"
#include "engine/ZVolume.h"
#include "engine/openVolume.h"
#include "model/texts.h"
#include "tests/platform/linux/Unprivileged.h"
#include "tests/source/Attached.h"
#include "tests/support/FatBuilder.h"
#include "tests/support/NtfsBuilder.h"

#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QTimer>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>

namespace {

/// A scan page, and in the place of the results page whatever its scans hand over.
class ScanFrameTest : public testing::Test {
protected:
    std::unique_ptr<ScanFrame> page = std::make_unique<ScanFrame>();
    QLabel& status = *page->findChild<QLabel*>(QStringLiteral("lblSubtitle"));
    QProgressBar& bar = *page->findChild<QProgressBar*>(QStringLiteral("progressBar"));

    std::unique_ptr<kova::ZCustomMedia> media;
    std::unique_ptr<kova::ZVolume> volume;
    std::unique_ptr<kova::ZFileTree> tree;
    int scans = 0;

    void SetUp() override {
        QObject::connect(page.get(), &ScanFrame::finished, page.get(),
                         [this](kova::ZVolume* scanned, kova::ZFileTree* found) {
                             ++scans;
                             volume.reset(scanned);
                             media.reset(scanned != nullptr ? scanned->media() : nullptr);
                             tree.reset(found);
                         });
    }

    /// Calls `action` again and again as long as a scan lets events be processed, until it
    /// returns true.
    void whileScanning(const std::function<bool()>& action) {
        auto* timer = new QTimer(page.get());
        QObject::connect(timer, &QTimer::timeout, timer, [timer, action] {
            if (action())
                timer->stop();
        });
        timer->start(0);
    }

    /// What the files are that were found, by name.
    [[nodiscard]] std::multimap<QString, std::vector<kova::uint8>> contents() {
        std::multimap<QString, std::vector<kova::uint8>> result;
        for (const auto& [id, node] : tree->allNodes()) {
            kova::ZMemoryStream content;
            if (!node.isDirectory && volume->extract(node, &content))
                result.emplace(toQString(node.name), content.bytes());
        }
        return result;
    }

    /// Nodes that the engine finds when nobody looks on.
    static std::size_t nodesOn(char letter) {
        kova::ZCustomMedia bare;
        EXPECT_TRUE(bare.openDrive(letter));
        const std::unique_ptr<kova::ZVolume> engine(kova::openVolume(&bare));
        engine->setScanOptions(kova::ScanOptions::today());
        engine->init();
        kova::ZFileTree found;
        engine->scan(&found);
        return found.allNodes().size();
    }
};

TEST_F(ScanFrameTest, ShowsProgressRoundedUp) {
    EXPECT_EQ(bar.value(), 24);
    EXPECT_EQ(status.text(), QStringLiteral("Scanning..."));
    for (const auto& [progress, value] :
         {std::pair(0.0, 0), {0.004, 1}, {0.7, 70}, {0.991, 100}, {1.0, 100}}) {
        page->progressChanged(progress);
        EXPECT_EQ(bar.value(), value);
    }
    QMetaObject::invokeMethod(page.get(), "incrementProgress");
    EXPECT_EQ(bar.value(), 100);
    page->progressChanged(0.5);
    QMetaObject::invokeMethod(page.get(), "incrementProgress");
    EXPECT_EQ(bar.value(), 51);
    page->statusChanged(QString());
    EXPECT_EQ(status.text(), QString());
}

TEST_F(ScanFrameTest, ADriveIsAskedForItsFileSystemOnce) {
    const Attached drive("fat.img");
    kova::ZCustomMedia opened;
    ASSERT_TRUE(opened.openDrive(drive.letter()));
    drive.remove(); // It could not answer again.
    const std::unique_ptr<kova::ZVolume> engine(kova::openVolume(&opened));
    EXPECT_NE(engine, nullptr);
}

class Samples : public ScanFrameTest, public testing::WithParamInterface<const char*> {
protected:
    Attached drive{std::string(GetParam())};
};

TEST_P(Samples, AreScannedWhole) {
    std::vector<int> values;
    QObject::connect(&bar, &QProgressBar::valueChanged,
                     [&](int value) { values.push_back(value); });
    page->startScan(drive.letter());
    EXPECT_EQ(scans, 1);
    EXPECT_EQ(status.text(), QStringLiteral("Completed"));
    EXPECT_EQ(page->failureReason(), QString());
    ASSERT_FALSE(values.empty());
    EXPECT_EQ(values.front(), 0);
    EXPECT_EQ(values.back(), 100);
    EXPECT_TRUE(std::is_sorted(values.begin(), values.end()));
    ASSERT_NE(volume, nullptr);
    EXPECT_EQ(tree->allNodes().size(), nodesOn(drive.letter()));

    // What is handed over does without the page.
    page.reset();
    std::size_t extracted = 0;
    for (const auto& [id, node] : tree->allNodes()) {
        kova::ZMemoryStream content;
        if (!node.isDirectory && volume->extract(node, &content))
            ++extracted;
    }
    EXPECT_GT(extracted, 0U);
}

TEST_P(Samples, AStopBeforeTheFirstRecordLeavesNothing) {
    whileScanning([this] {
        page->stop();
        return true;
    });
    page->startScan(drive.letter());
    EXPECT_EQ(status.text(), QStringLiteral("Cancelled"));
    EXPECT_EQ(page->failureReason(), QString());
    EXPECT_EQ(bar.value(), 100);
    EXPECT_EQ(scans, 1);
    EXPECT_TRUE(tree->allNodes().empty());

    page->startScan(drive.letter()); // A stop is for one scan only.
    EXPECT_EQ(status.text(), QStringLiteral("Completed"));
    EXPECT_EQ(tree->allNodes().size(), nodesOn(drive.letter()));
}

INSTANTIATE_TEST_SUITE_P(Volumes, Samples, testing::Values("ntfs.img", "fat.img"),
                         [](const auto& parameter) {
                             return std::string(parameter.param).starts_with("ntfs") ? "Ntfs"
                                                                                     : "Fat";
                         });

TEST_F(ScanFrameTest, AStopAmongTheRecordsHandsOverWhatWasFound) {
    const Attached drive("ntfs.img");
    QObject::connect(&bar, &QProgressBar::valueChanged, [this](int value) {
        if (value == 35) // Half of the walk.
            page->stop();
    });
    page->startScan(drive.letter());
    EXPECT_EQ(status.text(), QStringLiteral("Cancelled"));
    EXPECT_EQ(bar.value(), 100);
    ASSERT_NE(volume, nullptr);
    EXPECT_GT(tree->allNodes().size(), 0U);
    EXPECT_LT(tree->allNodes().size(), nodesOn(drive.letter()));
}

/// A FAT volume that takes many reads: each of its directories is in a place of its own.
class ManyDirectories : public ScanFrameTest {
protected:
    static constexpr int kDirectories = 20000;

    static std::vector<kova::uint8> build() {
        kova::test::FatBuilder builder(
            {.type = kova::FatType::Fat16, .clusters = 40000, .rootEntries = 32});
        kova::test::FatEntry entry;
        entry.name = "MANY";
        const kova::uint32 folder = builder.addDirectory(0, entry);
        entry.deleted = true;
        for (int i = 0; i < kDirectories; ++i) {
            entry.name = "D" + std::to_string(i);
            builder.addDirectory(folder, entry);
        }
        return std::move(builder.bytes());
    }

    Attached drive{build()};
};

TEST_F(ManyDirectories, TheWindowLivesWhileFatIsWalked) {
    int times = 0;
    int ignored = 0;
    whileScanning([&] {
        if (status.text() == QLatin1String("Scanning"))
            ++times;
        page->startScan(drive.letter());
        ++ignored;
        return false;
    });
    page->startScan(drive.letter());
    EXPECT_GT(times, 1);
    EXPECT_GT(ignored, times);
    EXPECT_EQ(scans, 1);
    EXPECT_EQ(status.text(), QStringLiteral("Completed"));
    EXPECT_EQ(tree->allNodes().size(), kDirectories + 2U); // With the folder and the root.
}

TEST_F(ManyDirectories, AStopEndsTheWalkOfFat) {
    whileScanning([this] {
        const bool walking = status.text() == QLatin1String("Scanning");
        if (walking)
            page->stop();
        return walking;
    });
    page->startScan(drive.letter());
    EXPECT_EQ(status.text(), QStringLiteral("Cancelled"));
    EXPECT_EQ(bar.value(), 100);
    ASSERT_NE(volume, nullptr);
    EXPECT_LT(tree->allNodes().size(), std::size_t{kDirectories});
}

/// Scans that cannot start.
class Refused : public ScanFrameTest {
protected:
    /// The scan has no volume and says so where the user looks, in words that hold `words`.
    void expectRefused(char letter, const char* words) {
        page->startScan(letter);
        EXPECT_EQ(scans, 1);
        EXPECT_EQ(volume, nullptr);
        ASSERT_NE(tree, nullptr);
        EXPECT_TRUE(tree->allNodes().empty());
        EXPECT_EQ(status.text(), page->failureReason());
        EXPECT_THAT(page->failureReason().toStdString(), testing::HasSubstr(words));
    }
};

TEST_F(Refused, TheDriveIsGone) {
    const Attached drive(kova::test::FatBuilder().bytes());
    drive.remove();
    expectRefused(drive.letter(), "not there any more");

    const Attached other(kova::test::FatBuilder().bytes());
    page->startScan(other.letter());
    EXPECT_EQ(page->failureReason(), QString());
    EXPECT_NE(volume, nullptr);
}

TEST_F(Refused, TheRightsAreMissing) {
    const kova::test::TempDir folder;
    platform::test::makeFat(folder / "fat.img", 4U << 20);
    const std::string name = (folder / "device").string();
    if (!platform::test::succeeds("losetup --find --show '" + (folder / "fat.img").string() +
                                  "' > '" + name + "'"))
        GTEST_SKIP() << "no loop device to be had";
    std::string device = platform::test::contentOf(name);
    device.resize(device.find('\n'));
    const auto letter = platform::letterOfDevice(format::wideFromUtf8(device));
    if (letter) {
        const platform::test::Unprivileged unprivileged;
        expectRefused(*letter, "rights");
    }
    platform::test::run("losetup -d " + device);
    EXPECT_TRUE(letter.has_value());
}

TEST_F(ScanFrameTest, TheCopyOfALostBootSectorServes) {
    const Attached whole("ntfs.img");
    page->startScan(whole.letter());
    const std::size_t nodes = tree->allNodes().size();
    std::ifstream file(whole.path(), std::ios::binary);
    std::vector<kova::uint8> bytes(std::istreambuf_iterator<char>(file), {});
    std::fill_n(bytes.begin(), 512, kova::uint8{0});
    const Attached drive(bytes);
    page->startScan(drive.letter());
    EXPECT_EQ(page->failureReason(), QString());
    EXPECT_EQ(tree->allNodes().size(), nodes);
    EXPECT_THAT(volume->notes(), testing::Contains(kova::VolumeNote::BackupBootSector));
}

TEST_F(ScanFrameTest, ADamagedVolumeEndsEmptyAndSaysWhy) {
    std::vector<kova::uint8> bytes = kova::test::NtfsBuilder().build();
    std::fill_n(bytes.begin() + 48, 8, kova::uint8{0x7F}); // Where the MFT lies.
    const Attached drive(bytes);
    page->startScan(drive.letter());
    EXPECT_TRUE(page->offersSearch());
    EXPECT_THAT(status.text().toStdString(),
                testing::AllOf(testing::HasSubstr("damaged"), testing::HasSubstr("Do not format")));
    EXPECT_EQ(scans, 0);
}

TEST_F(ScanFrameTest, ADriveWithoutItsFileSystemIsSearchedAsItIs) {
    const Attached whole("ntfs.img");
    page->startScan(whole.letter());
    std::ifstream file(whole.path(), std::ios::binary);
    std::vector<kova::uint8> bytes(std::istreambuf_iterator<char>(file), {});
    const auto before = contents();
    for (const auto end : {bytes.begin() + 8192, bytes.end()})
        std::fill(end - 8192, end, kova::uint8{0}); // The boot sector and its copy.
    const Attached drive(bytes);
    page->startScan(drive.letter());
    EXPECT_EQ(scans, 1);
    ASSERT_TRUE(page->offersSearch());
    EXPECT_THAT(status.text().toStdString(),
                testing::HasSubstr("no file system that Orvane knows"));
    EXPECT_TRUE(bar.isHidden());

    page->findChild<QPushButton*>(QStringLiteral("btnSearch"))->click();
    ASSERT_EQ(scans, 2);
    EXPECT_EQ(page->failureReason(), QString());
    EXPECT_FALSE(page->offersSearch());
    EXPECT_FALSE(bar.isHidden());
    const auto after = contents();
    EXPECT_FALSE(before.empty());
    for (const auto& found : before) {
        const auto [first, last] = after.equal_range(found.first);
        EXPECT_NE(std::find(first, last, found), last) << found.first.toStdString();
    }

    page->startScan(whole.letter()); // As if nothing had happened.
    EXPECT_EQ(contents(), before);
}

} // namespace
