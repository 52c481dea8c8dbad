#include "engine/recognizeVolume.h"

#include "engine/ByteReader.h"
#include "engine/LittleEndian.h"
#include "engine/exfat/ZExFatVolume.h"
#include "engine/fat/ZFatVolume.h"
#include "engine/ntfs/NtfsLayout.h"
#include "engine/ntfs/ZAttribute.h"
#include "engine/ntfs/ZMftRecord.h"
#include "engine/ntfs/ZNtfsVolume.h"
#include "format/BootSector.h"

#include <algorithm>
#include <array>
#include <functional>
#include <string_view>
#include <vector>

namespace kova {

namespace {

using format::BiosParameterBlock;

constexpr uint32 kSector = 512;
constexpr std::array<uint32, 4> kSectorSizes{512, 1024, 2048, 4096};

/// Sectors at the start of a volume among which the copy of a FAT32 boot sector is looked for.
constexpr uint32 kMostReservedSectors = 64;

/// How far what a boot sector says turns out to be true.
enum class Trust { SectorOnly, Plausible };

struct Candidate {
    Trust trust = Trust::SectorOnly;
    std::function<std::unique_ptr<ZVolume>()> make;
};

class Recognizer {
public:
    explicit Recognizer(ZCustomMedia& media) : media_(media) {}

    std::unique_ptr<ZVolume> recognize() {
        // In the order in which formatting wipes what was before: NTFS begins with 8 KiB of its
        // own, over the copies that others have there, and its own copy lies where they write
        // nothing.
        const ZCustomMedia::ReadWindow window(media_);
        tryNtfs(0);
        tryFat(0);
        tryFatCopies();
        tryExFat();
        tryNtfsCopies();
        std::stable_sort(
            candidates_.begin(), candidates_.end(),
            [](const Candidate& left, const Candidate& right) { return left.trust > right.trust; });
        for (const Candidate& candidate : candidates_) {
            if (canBeUsed(*candidate.make()))
                return candidate.make();
        }
        return nullptr;
    }

private:
    bool canBeUsed(ZVolume& volume) {
        volume.setScanOptions(ScanOptions::today());
        media_.seek(0);
        bool isUsable = false;
        try {
            isUsable = volume.init();
            // What else is thrown comes from whoever watches the reads.
        } catch (int) {                                // NOLINT(bugprone-empty-catch)
        } catch (const ZAttribute::EInvalid&) {        // NOLINT(bugprone-empty-catch)
        } catch (const ZMftRecord::EOutOfRange&) {     // NOLINT(bugprone-empty-catch)
        } catch (const ZDatarun::ECorruptAttribute&) { // NOLINT(bugprone-empty-catch)
        } catch (const ZDatarun::EInvalidArgument&) {  // NOLINT(bugprone-empty-catch)
        } catch (const ZDatarun::EUnknownError&) {     // NOLINT(bugprone-empty-catch)
        }
        media_.seek(0);
        return isUsable;
    }

    /// `count` bytes from a byte of the media on; what it does not give is zero.
    std::vector<uint8> bytesAt(uint64 start, std::size_t count) {
        std::vector<uint8> bytes(count);
        ByteReader(media_).read(start, bytes);
        return bytes;
    }

    void add(bool isPlausible, std::function<std::unique_ptr<ZVolume>()> make) {
        candidates_.push_back(
            {isPlausible ? Trust::Plausible : Trust::SectorOnly, std::move(make)});
    }

    /// Considers an engine that reads its boot sector where it is told.
    template <typename Volume>
    void addAt(uint64 byte, bool isPlausible) {
        add(isPlausible, [media = &media_, byte] {
            auto volume = std::make_unique<Volume>(media);
            if (byte != 0)
                volume->setBootSectorAt(byte);
            return volume;
        });
    }

    void tryNtfs(uint64 byte) {
        const std::vector<uint8> sector = bytesAt(byte, ntfs::BootSector::kBytes);
        const std::optional<format::VolumeFormat> found = format::identifyVolume(sector);
        const std::optional<ntfs::BootSector> boot = ntfs::BootSector::decode(sector);
        if (!boot || !found || found->fileSystem != std::string_view("NTFS") ||
            found->sectorSize == 0)
            return;
        const uint64 cluster = uint64{boot->clusterSectors()} * boot->bytesPerSector;
        addAt<ZNtfsVolume>(byte, isRecord(boot->mftLcn, cluster) ||
                                     isRecord(boot->mftMirrorLcn, cluster));
    }

    bool isRecord(uint64 lcn, uint64 clusterBytes) {
        constexpr std::string_view kSignature = "FILE";
        if (clusterBytes == 0 || lcn == 0 || lcn >= media_.sizeBytes() / clusterBytes)
            return false;
        const std::vector<uint8> record = bytesAt(lcn * clusterBytes, kSignature.size());
        return std::equal(record.begin(), record.end(), kSignature.begin());
    }

    void tryNtfsCopies() {
        const uint64 size = media_.sizeBytes();
        std::vector<uint64> tried;
        for (const uint32 sector : kSectorSizes) {
            const uint64 sectors = size / sector;
            if (sectors < 2)
                continue;
            for (const uint64 at : {sectors - 1, sectors / 2}) {
                const uint64 byte = at * sector;
                if (std::find(tried.begin(), tried.end(), byte) == tried.end()) {
                    tried.push_back(byte);
                    tryNtfs(byte);
                }
            }
        }
    }

    void tryExFat() {
        const auto make = [media = &media_] { return std::make_unique<ZExFatVolume>(media); };
        ZExFatVolume volume(&media_);
        if (canBeUsed(volume))
            add(volume.hasBitmap(), make);
    }

    void tryFat(uint64 byte) {
        const std::vector<uint8> sector = bytesAt(byte, BiosParameterBlock::kBytes);
        const std::optional<format::VolumeFormat> found = format::identifyVolume(sector);
        if (!found || !std::string_view(found->fileSystem).starts_with("FAT"))
            return;
        const BiosParameterBlock block =
            BiosParameterBlock::decode(std::span(sector).first<BiosParameterBlock::kBytes>());
        // A copy says where it lies.
        if (byte != 0 &&
            (block.fatSectors16 != 0 || uint64{block.backupSector} * block.bytesPerSector != byte))
            return;
        addAt<ZFatVolume>(byte, isFatTrue(block));
    }

    void tryFatCopies() {
        for (uint64 byte = kSector; byte < uint64{kMostReservedSectors} * kSector; byte += kSector)
            tryFat(byte);
    }

    bool isFatTrue(const BiosParameterBlock& block) {
        const auto fat = bytesAt(uint64{block.reservedSectors} * block.bytesPerSector, 3);
        constexpr uint8 kFilled = 0xFF;
        if (fat[0] != block.mediaDescriptor || fat[1] != kFilled)
            return false;
        const FatGeometry geometry = FatGeometry::derive(block, media_.sizeBytes(), true);
        const uint64 root =
            geometry.rootCluster == 0
                ? geometry.rootSector
                : static_cast<uint64>(std::max<int64>(geometry.sectorOf(geometry.rootCluster), 0));
        if (geometry.rootCluster > geometry.lastMediaCluster)
            return false;
        const std::vector<uint8> entry =
            bytesAt(root * geometry.bytesPerSector, FatDirectoryEntry::kBytes);
        return FatDirectoryEntry(entry.data()).attributes() <=
               FatDirectoryEntry::kDefinedAttributes;
    }

    ZCustomMedia& media_;
    std::vector<Candidate> candidates_;
};

} // namespace

std::unique_ptr<ZVolume> recognizeVolume(ZCustomMedia* media) {
    if (media->sectorSize() == 0)
        return nullptr;
    return Recognizer(*media).recognize();
}

} // namespace kova
