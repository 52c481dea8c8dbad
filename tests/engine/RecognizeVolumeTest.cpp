#include "engine/recognizeVolume.h"
#include "engine/exfat/ZExFatVolume.h"
#include "engine/fat/ZFatVolume.h"
#include "engine/ntfs/ZNtfsVolume.h"
#include "tests/platform/Tools.h"
#include "tests/support/TempDir.h"
#include "tests/support/TestMedia.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace kova::test {
namespace {

namespace tools = platform::test;

/// Formats one after the other on a volume of 40 MiB, then what is overwritten with 0xA5.
struct Case {
    const char* label;
    std::vector<const char*> formats;
    std::size_t damagedFrom;
    std::size_t damagedBytes;
    const char* recognized;
    bool byItsCopy;
};

class RecognizeVolume : public testing::TestWithParam<Case> {};

constexpr const char* kNtfs = "mkntfs -q -F -Q";
constexpr const char* kFat32 = "mkfs.fat -F 32 -s 1";
constexpr const char* kExFat = "mkfs.exfat";

INSTANTIATE_TEST_SUITE_P(
    Volumes, RecognizeVolume,
    testing::Values(
        Case{"Ntfs", {kNtfs}, 0, 0, "NTFS", false},
        Case{"Fat12", {"mkfs.fat -F 12 -s 64"}, 0, 0, "FAT", false},
        Case{"Fat16", {"mkfs.fat -F 16"}, 0, 0, "FAT", false},
        Case{"Fat32LargeSectors", {"mkfs.fat -F 32 -s 1 -S 1024"}, 0, 1024, "FAT", true},
        Case{"ExFat", {kExFat}, 0, 0, "exFAT", false},
        Case{"NtfsWithoutItsStart", {kNtfs}, 0, 8192, "NTFS", true},
        Case{"Fat32WithoutBootSector", {kFat32}, 0, 512, "FAT", true},
        Case{"ExFatWithoutBootRegion", {kExFat}, 0, std::size_t{12} * 512, "exFAT", true},
        Case{"ExFatWithWrongRootCluster", {kExFat}, 96, 1, "exFAT", true},
        Case{"Fat32OverNtfs", {kNtfs, kFat32}, 0, 512, "FAT", true},
        Case{"ExFatOverNtfsOverFat32", {kFat32, kNtfs, kExFat}, 0, 512, "exFAT", true},
        Case{"NtfsOverExFatOverFat32", {kFat32, kExFat, kNtfs}, 0, 512, "NTFS", true},
        Case{"Nothing", {}, 0, 0, "", false}),
    [](const auto& instance) { return instance.param.label; });

TEST_P(RecognizeVolume, ByWhatItSaysItself) {
    const TempDir dir;
    const std::filesystem::path image = dir / "volume.img";
    tools::makeFile(image, std::uintmax_t{40} << 20);
    for (const char* format : GetParam().formats)
        tools::run(std::string(format) + " " + forShell(image));
    tools::overwrite(image, GetParam().damagedFrom,
                     std::vector<uint8>(GetParam().damagedBytes, 0xA5));
    const std::string content = tools::contentOf(image);
    for (const uint32 sector : {512U, 4096U}) {
        TestMedia media({content.begin(), content.end()}, sector);
        const std::unique_ptr<ZVolume> volume = recognizeVolume(&media);
        ASSERT_EQ(volume != nullptr, *GetParam().recognized != '\0');
        if (!volume)
            continue;
        const char* const name = dynamic_cast<ZNtfsVolume*>(volume.get()) != nullptr    ? "NTFS"
                                 : dynamic_cast<ZExFatVolume*>(volume.get()) != nullptr ? "exFAT"
                                                                                        : "FAT";
        EXPECT_STREQ(name, GetParam().recognized);
        EXPECT_TRUE(volume->init());
        const std::vector<VolumeNote> copyNote(GetParam().byItsCopy ? 1 : 0,
                                               VolumeNote::BackupBootSector);
        EXPECT_EQ(volume->notes(), copyNote);
    }
}

} // namespace
} // namespace kova::test
