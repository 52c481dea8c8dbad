#include "engine/ntfs/ZNtfsVolume.h"

#include "engine/ZMemoryStream.h"
#include "engine/ntfs/ZAttribute.h"
#include "engine/ntfs/ZMftRecord.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <utility>

namespace kova {

namespace {

using ntfs::RecordHeader;

/// Larger files are not listed: 100 GiB.
constexpr int64 kLargestFile = int64{25} << 32;
/// The walk over the records takes this share of the progress.
constexpr double kWalkShare = 0.7;
/// What a volume may ask to be read beyond twice what it holds.
constexpr uint64 kSpendingSlack = uint64{64} << 20;
/// Record numbers are counted in 32 bits.
constexpr uint64 kMostRecords = std::numeric_limits<uint32>::max();
/// What is taken for the size of a volume that does not tell.
constexpr uint64 kUnknownSize = uint64{1} << 44;

} // namespace

bool ZNtfsVolume::init() {
    readBootSector();
    startSpending();
    loadMft();
    loadVolumeBitmap();
    return true;
}

void ZNtfsVolume::readBootSector() {
    std::vector<uint8> sector(ntfs::BootSector::kBytes);
    if (bootSectorAt_) {
        readSectors(*bootSectorAt_ / ntfs::BootSector::kBytes, 1, ntfs::BootSector::kBytes,
                    sector.data());
        addNote(VolumeNote::BackupBootSector);
    } else {
        // The sector that follows the position of a media just opened, in the media's own size.
        sector.resize(media()->sectorSize());
        media()->read(sector.data(), 1);
    }
    useGeometry(ntfs::BootSector::decode(sector));
}

void ZNtfsVolume::useGeometry(const ntfs::BootSector& boot) {
    bootSector_ = boot;
    const uint32 bytesPerSector = bootSector_.bytesPerSector;
    const uint64 clusterBytes = uint64{bootSector_.clusterSectors()} * bytesPerSector;
    if (clusterBytes == 0 || clusterBytes > std::numeric_limits<uint32>::max() / 2)
        fail();
    bytesPerCluster_ = static_cast<uint32>(clusterBytes);
    recordSize_ = bootSector_.recordBytes(bytesPerCluster_);
    if (recordSize_ == 0 || recordSize_ % bytesPerSector != 0 || recordSize_ > bytesPerCluster_)
        fail();
    sectorsPerRecord_ = recordSize_ / bytesPerSector;
    recordsPerCluster_ = bytesPerCluster_ / recordSize_;
    totalClusters_ = bootSector_.totalSectors / bootSector_.clusterSectors();
}

uint64 ZNtfsVolume::heldBytes() const {
    const uint64 media = this->media()->sizeBytes();
    return media != 0 ? media : kUnknownSize;
}

void ZNtfsVolume::startSpending() {
    leftToSpend_ = 2 * heldBytes() + kSpendingSlack;
}

void ZNtfsVolume::spend(uint64 bytes) {
    if (bytes > leftToSpend_)
        fail();
    leftToSpend_ -= bytes;
}

void ZNtfsVolume::loadMft() {
    // An MFT has no holes, so it cannot be larger than the volume. Until its size is known, this
    // is the bound for the extension records that its own attribute list names.
    const uint64 mostRecords = heldBytes() / recordSize_;
    recordCount_ = static_cast<uint32>(std::min<uint64>(mostRecords, kMostRecords));
    ZMftRecord record(this, ntfs::kMftRecord);
    ZAttribute* data = record.findAttribute(ntfs::kData);
    if (data == nullptr)
        fail();
    mftRuns_.clear();
    std::vector<ZDatarun> runs;
    const auto addRuns = [&](const ZAttribute::Part& part) {
        ZDatarun::decode(bytesPerCluster_, part.header, runs, &mftRuns_);
    };
    if (scanOptions().wholeFiles && !data->isResident()) {
        // Extension records are themselves found through the runs known so far. A further
        // extent that does not fit costs the records in it, not the volume.
        addRuns(data->part(0));
        try {
            record.completeExtents(*data, addRuns);
        } catch (...) { // NOLINT(bugprone-empty-catch): what was merged until here is used
        }
    }
    ZAttribute* bitmap = record.findAttribute(ntfs::kBitmap);
    if (bitmap == nullptr)
        fail();
    const auto described = static_cast<uint32>(static_cast<uint64>(data->dataSize()) / recordSize_);
    recordCount_ = static_cast<uint32>(std::min<uint64>(described, mostRecords));
    if (mftRuns_.empty()) {
        for (std::size_t i = 0; i < data->partCount(); ++i)
            addRuns(data->part(i));
    }
    mftRunsInOrder_ = std::adjacent_find(mftRuns_.begin(), mftRuns_.end(),
                                         [](const ZDatarun& a, const ZDatarun& b) {
                                             return a.length < 0 || a.endVcn() > b.vcn;
                                         }) == mftRuns_.end();

    ZMemoryStream content;
    bitmap->readTo(content, recordCount_ / 8 + 1);
    mftBitmap_ = std::move(content.bytes());
}

void ZNtfsVolume::loadVolumeBitmap() {
    ZMftRecord record(this, ntfs::kVolumeBitmapRecord);
    ZAttribute* data = record.findAttribute(ntfs::kData);
    if (data == nullptr)
        fail();
    const uint64 clusters = std::min(totalClusters_, heldBytes() / bytesPerCluster_);
    ZMemoryStream content;
    data->readTo(content, static_cast<int64>(clusters / 8 + sizeof(uint64)));
    volumeBitmap_ = std::move(content.bytes());
}

int64 ZNtfsVolume::lcnOfMft(int64 vcn) const {
    if (!mftRunsInOrder_)
        return ZDatarun::vcnToLcn(mftRuns_, vcn);
    const auto after = std::upper_bound(mftRuns_.begin(), mftRuns_.end(), vcn,
                                        [](int64 v, const ZDatarun& run) { return v < run.vcn; });
    // Runs of length 0 may share their VCN with the run that covers it.
    for (auto run = after; run != mftRuns_.begin();) {
        --run;
        if (vcn - run->vcn < run->length)
            return run->lcn < 0 ? run->lcn : run->lcn + (vcn - run->vcn);
        if (run->vcn < vcn)
            break;
    }
    return ZDatarun::NotFound;
}

bool ZNtfsVolume::applyFixups(ntfs::RecordBuffer& record) {
    const auto inUse = readLe<uint32>(record, RecordHeader::kBytesInUse);
    if (inUse > record.size() || readLe<uint16>(record, RecordHeader::kFirstAttribute) > inUse)
        fail();
    if (std::memcmp(record.data() + RecordHeader::kSignature, "FILE", 4) != 0)
        fail();
    constexpr std::size_t kStride = RecordHeader::kFixupStride;
    const auto strides = static_cast<uint16>(readLe<uint16>(record, RecordHeader::kFixupCount) - 1);
    if (record.size() / kStride != strides)
        return false;
    const std::size_t fixups = readLe<uint16>(record, RecordHeader::kFixupOffset);
    for (std::size_t i = 0; i < strides; ++i) {
        // The words replaced are not compared: a torn record still tells most of its file.
        const auto word = readLe<uint16>(record, fixups + 2 * (i + 1));
        storeLe<uint16>(record.data() + kStride * (i + 1) - 2, word);
    }
    return true;
}

bool ZNtfsVolume::readMftRecord(int64 number, ntfs::RecordBuffer& buffer, bool viaRunList) {
    if (number < 0)
        fail();
    const uint64 index = static_cast<uint64>(number) & ntfs::kRecordNumberMask;
    const auto vcn = static_cast<int64>(index / recordsPerCluster_);
    const uint64 inCluster = index % recordsPerCluster_;
    const int64 lcn = viaRunList
                          ? lcnOfMft(vcn)
                          : static_cast<int64>(bootSector_.mftLcn + static_cast<uint64>(vcn));
    if (lcn < 0 || lcn > std::numeric_limits<int64>::max() / bytesPerCluster_)
        fail();
    buffer.resize(recordSize_);
    readSectors(static_cast<uint64>(lcn) * bootSector_.clusterSectors() +
                    inCluster * sectorsPerRecord_,
                sectorsPerRecord_, bootSector_.bytesPerSector, buffer.data());
    return applyFixups(buffer);
}

void ZNtfsVolume::readClusters(int64 lcn, uint32 count, std::vector<uint8>& buffer) {
    buffer.resize(static_cast<std::size_t>(count) * bytesPerCluster_);
    readClusters(lcn, count, buffer.data());
}

void ZNtfsVolume::readClusters(int64 lcn, uint32 count, uint8* buffer) {
    if (lcn < 0 || lcn > std::numeric_limits<int64>::max() / bytesPerCluster_ - count)
        fail();
    const uint32 clusterSectors = bootSector_.clusterSectors();
    readSectors(static_cast<uint64>(lcn) * clusterSectors, count * clusterSectors,
                bootSector_.bytesPerSector, buffer);
}

bool ZNtfsVolume::isAllocated(uint32 number) const {
    // Records that the bitmap does not reach are none that the volume describes.
    const std::size_t byte = number / 8;
    return byte >= mftBitmap_.size() || ((mftBitmap_[byte] >> (number % 8)) & 1) != 0;
}

bool ZNtfsVolume::processRecord(ZFileTree& tree, int64 number, bool onlyDirectories) {
    try {
        ZMftRecord record(this, number);
        ntfs::StandardInformation info;
        if (!record.readStandardInformation(info))
            return false;
        ZFileTreeNode node;
        node.id = number;
        node.parentId = record.parentReference();
        node.name = record.fileName();
        node.exists = record.isInUse();
        node.isDirectory = record.isDirectory();
        node.attributes = info.fileAttributes;
        node.creationTime = info.creationTime;
        node.modificationTime = info.modificationTime;
        node.accessTime = info.accessTime;
        if (!node.isDirectory) {
            if (onlyDirectories)
                return false;
            const ZAttribute* data = record.findData();
            if (data == nullptr)
                return false;
            node.size = data->dataSize();
        }
        if (node.name.empty() || node.size < 0 || node.size > kLargestFile)
            return false;
        tree.insert(std::move(node));
        return true;
    } catch (...) {
        return false;
    }
}

ClusterLayout ZNtfsVolume::clusterLayout() const {
    return {0, bytesPerCluster_, std::min(totalClusters_, heldBytes() / bytesPerCluster_)};
}

bool ZNtfsVolume::isInUse(uint64 index) const {
    const uint64 byte = index / 8;
    return byte < volumeBitmap_.size() && ((volumeBitmap_[byte] >> (index % 8)) & 1) != 0;
}

std::vector<ByteRange> ZNtfsVolume::placeOf(const ZFileTreeNode& node) {
    std::vector<ByteRange> place;
    try {
        startSpending();
        ZMftRecord record(this, node.id);
        ZAttribute* data = record.findData();
        if (data == nullptr || data->isResident())
            return {};
        auto left = static_cast<uint64>(std::max<int64>(data->dataSize(), 0));
        std::vector<ZDatarun> runs;
        for (std::size_t i = 0; i < data->partCount() && left > 0; ++i) {
            const auto& header = data->part(i).header;
            if ((header.flags() & ntfs::AttributeHeader::kCompressionMask) != 0 ||
                !ZDatarun::decode(bytesPerCluster_, header, runs))
                return {};
            for (const ZDatarun& run : runs) {
                if (run.length == 0 || run.lcn == ZDatarun::NotMapped)
                    continue;
                if (run.lcn < 0 || left == 0)
                    return {};
                const uint64 bytes =
                    std::min(left, static_cast<uint64>(run.length) * bytesPerCluster_);
                place.push_back({static_cast<uint64>(run.lcn) * bytesPerCluster_, bytes});
                left -= bytes;
            }
        }
        return left == 0 ? place : std::vector<ByteRange>{};
    } catch (...) {
        return {};
    }
}

void ZNtfsVolume::scan(ZFileTree* tree) {
    startSpending();
    tree->rootId = ntfs::kRootRecord;
    media()->setFlags(1, 0);
    if (!setProgress(0.0))
        return;
    {
        const ZCustomMedia::ReadWindow window(*media());
        for (uint32 number = 0; number < recordCount_; ++number) {
            if (!isAllocated(number))
                processRecord(*tree, number, false);
            if (!setProgress(static_cast<double>(number) * kWalkShare / recordCount_))
                return;
        }
    }
    media()->setFlags(0, 0);
    collectOrphans(*tree, [&](int64 id) { return processRecord(*tree, id, true); });
    setProgress(1.0);
}

bool ZNtfsVolume::extract(const ZFileTreeNode& node, ZStream* out) {
    try {
        startSpending();
        ZMftRecord record(this, node.id);
        if (record.isDirectory())
            return false;
        ZAttribute* data = record.findData();
        if (data == nullptr)
            return false;
        const uint64 written = data->readTo(*out);
        return !scanOptions().wholeFiles || written == static_cast<uint64>(data->dataSize());
    } catch (...) {
        return false;
    }
}

} // namespace kova
