#include "engine/ntfs/ZNtfsVolume.h"

#include "engine/BoundedStream.h"
#include "engine/ZMemoryStream.h"
#include "engine/ntfs/NtfsContentReader.h"
#include "engine/ntfs/RecycleBin.h"
#include "engine/ntfs/RunWalk.h"
#include "engine/ntfs/SystemUnpacker.h"
#include "engine/ntfs/ZAttribute.h"
#include "engine/ntfs/ZMftRecord.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <limits>
#include <map>
#include <new>
#include <utility>

namespace kova {

namespace {

using ntfs::RecordHeader;

/// Larger files are not listed: 100 GiB.
constexpr int64 kLargestFile = int64{25} << 32;
/// The walk over the records takes this share of the progress.
constexpr double kWalkShare = 0.7;
/// Windows makes records of 1 or 4 KiB.
constexpr uint32 kLargestRecord = 1U << 16;
/// No MFT and no file is in more pieces.
constexpr std::size_t kMostPieces = std::size_t{1} << 20;
/// What a volume may ask to be read beyond twice what it holds.
constexpr uint64 kSpendingSlack = uint64{64} << 20;
/// Most folders whose indexes are read to find names: each may take a disk's arm elsewhere.
constexpr uint32 kMostIndexes = 2000;
/// Ids from here on are of folders that have no record any more: no record number is as large, and
/// hardly a file has so many streams.
constexpr int64 kFirstFormerFolder = (int64{1} << 54) + (int64{1} << 40);
/// Folders without a record below each other.
constexpr int kDeepestFormer = 256;
/// The same of folders that only the recycle bin tells of.
constexpr int64 kFirstRecycledFolder = kFirstFormerFolder + (int64{1} << 40);
/// Record numbers are counted in 32 bits.
constexpr uint64 kMostRecords = std::numeric_limits<uint32>::max();
/// What is taken for the size of a volume that does not tell.
constexpr uint64 kUnknownSize = uint64{1} << 44;

/// Fills in all but the size; false when the record has no standard information.
bool describe(ZMftRecord& record, int64 number, ZFileTreeNode& node) {
    ntfs::StandardInformation info;
    if (!record.readStandardInformation(info))
        return false;
    node.id = number;
    node.parentId = record.parentReference();
    node.name = record.takeFileName();
    node.exists = record.isInUse();
    node.isDirectory = record.isDirectory();
    node.attributes = info.fileAttributes;
    node.creationTime = info.creationTime;
    node.modificationTime = info.modificationTime;
    node.accessTime = info.accessTime;
    return true;
}

} // namespace

bool ZNtfsVolume::init() {
    readBootSector();
    startSpending();
    loadMft();
    loadVolumeBitmap();
    const uint64 media = this->media()->sizeBytes();
    if (scanOptions().wholeFiles && media != 0 &&
        bootSector_.totalSectors > media / bootSector_.bytesPerSector)
        addNote(VolumeNote::EndsEarly);
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
    const std::optional<ntfs::BootSector> boot = ntfs::BootSector::decode(sector);
    if (!boot)
        fail();
    useGeometry(*boot);
}

void ZNtfsVolume::useGeometry(const ntfs::BootSector& boot) {
    bootSector_ = boot;
    const uint32 bytesPerSector = bootSector_.bytesPerSector;
    const uint64 clusterBytes = uint64{bootSector_.clusterSectors()} * bytesPerSector;
    if (clusterBytes == 0 || clusterBytes > std::numeric_limits<uint32>::max() / 2)
        fail();
    bytesPerCluster_ = static_cast<uint32>(clusterBytes);
    recordSize_ = bootSector_.recordBytes(bytesPerCluster_);
    if (recordSize_ == 0 || recordSize_ % bytesPerSector != 0)
        fail();
    if (scanOptions().wholeFiles) {
        const bool isWhole = recordSize_ <= bytesPerCluster_ || recordSize_ % bytesPerCluster_ == 0;
        if (recordSize_ > kLargestRecord || !isWhole)
            fail();
    } else if (recordSize_ > bytesPerCluster_) {
        fail();
    }
    mftLcn_ = bootSector_.mftLcn;
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

bool ZNtfsVolume::trySpend(uint64 bytes) {
    if (bytes > leftToSpend_)
        return false;
    leftToSpend_ -= bytes;
    return true;
}

void ZNtfsVolume::spend(uint64 bytes) {
    if (!trySpend(bytes))
        fail();
}

bool ZNtfsVolume::usesRunList(int64 number) const {
    if (scanOptions().wholeFiles)
        return !mftRuns_.empty();
    return (number & static_cast<int64>(ntfs::kRecordNumberMask)) >= ntfs::kFirstMappedRecord;
}

void ZNtfsVolume::loadMft() {
    // An MFT has no holes, so it cannot be larger than the volume. Until its size is known, this
    // is the bound for the extension records that its own attribute list names.
    const uint64 mostRecords = heldBytes() / recordSize_;
    recordCount_ = static_cast<uint32>(std::min<uint64>(mostRecords, kMostRecords));
    if (!scanOptions().wholeFiles) {
        loadMftClassic();
        return;
    }
    if (loadMftFrom(bootSector_.mftLcn))
        return;
    if (!loadMftFrom(bootSector_.mftMirrorLcn))
        fail();
    addNote(VolumeNote::MftMirror);
}

void ZNtfsVolume::loadMftClassic() {
    const uint32 mostRecords = recordCount_;
    ZMftRecord record(this, ntfs::kMftRecord);
    ZAttribute* data = record.findAttribute(ntfs::kData);
    ZAttribute* bitmap = record.findAttribute(ntfs::kBitmap);
    if (data == nullptr || bitmap == nullptr)
        fail();
    const auto described = static_cast<uint32>(static_cast<uint64>(data->dataSize()) / recordSize_);
    recordCount_ = std::min(described, mostRecords);
    mftRuns_.clear();
    RunList runs;
    for (std::size_t i = 0; i < data->partCount(); ++i) {
        if (runs.decode(bytesPerCluster_, data->part(i).header))
            mftRuns_.merge(runs);
    }
    mftRuns_.putInOrder();

    ZMemoryStream content;
    bitmap->readTo(content, recordCount_ / 8 + 1);
    mftBitmap_ = std::move(content.bytes());
}

/// Loads the MFT by its own record, which lies in cluster `lcn`; false when that is of no use.
bool ZNtfsVolume::loadMftFrom(uint64 lcn) {
    const uint32 mostRecords = recordCount_;
    mftLcn_ = lcn;
    mftRuns_.clear();
    try {
        ZMftRecord record(this, ntfs::kMftRecord);
        NtfsStream data;
        if (!record.findStream(ntfs::kData, {}, data) || !data.isKnown || data.isResident)
            return false;
        data.size = static_cast<int64>(std::min(static_cast<uint64>(data.size), heldBytes()));
        // Extension records are themselves found through the runs so far.
        RunWalk walk(record, data, clustersOf(data));
        for (ZDatarun run; mftRuns_.size() < kMostPieces && walk.next(run);) {
            if (run.lcn >= 0)
                mftRuns_.append(run);
        }
        const uint64 described = static_cast<uint64>(data.size) / recordSize_;
        if (mftRuns_.empty() || described == 0)
            return false;
        recordCount_ = static_cast<uint32>(std::min<uint64>(described, mostRecords));
        loadMftBitmap(record);
        return true;
    } catch (int) {
        return false;
    }
}

void ZNtfsVolume::loadMftBitmap(ZMftRecord& record) {
    const std::size_t needed = recordCount_ / 8 + 1;
    NtfsStream bitmap;
    ZMemoryStream content;
    if (record.findStream(ntfs::kBitmap, {}, bitmap) && bitmap.isKnown) {
        const auto report =
            NtfsContentReader(*this, record, bitmap).read(content, static_cast<int64>(needed));
        bitmapHasGaps_ =
            report.reason != ExtractReport::Reason::None || report.unreadableBytes != 0;
    } else {
        bitmapHasGaps_ = true;
        content.fill(0, static_cast<uint32>(needed));
    }
    mftBitmap_ = std::move(content.bytes());
}

void ZNtfsVolume::loadVolumeBitmap() {
    const uint64 clusters = std::min(totalClusters_, heldBytes() / bytesPerCluster_);
    const auto most = static_cast<int64>(clusters / 8 + sizeof(uint64));
    ZMemoryStream content;
    if (!scanOptions().wholeFiles) {
        ZMftRecord record(this, ntfs::kVolumeBitmapRecord);
        ZAttribute* data = record.findAttribute(ntfs::kData);
        if (data == nullptr)
            fail();
        data->readTo(content, most);
        volumeBitmap_ = VolumeBitmap(std::move(content.bytes()));
        return;
    }
    // Nothing but the states of files needs it.
    try {
        ZMftRecord record(this, ntfs::kVolumeBitmapRecord);
        NtfsStream data;
        if (record.findStream(ntfs::kData, {}, data) && data.isKnown) {
            const auto report = NtfsContentReader(*this, record, data).read(content, most);
            VolumeBitmap bitmap(std::move(content.bytes()));
            if (report.reason == ExtractReport::Reason::None && report.unreadableBytes == 0 &&
                bitmap.clusters() >= clusters) {
                volumeBitmap_ = std::move(bitmap);
                return;
            }
        }
    } catch (int) { // NOLINT(bugprone-empty-catch): the same as a bitmap with gaps
    }
    addNote(VolumeNote::NoVolumeBitmap);
}

/// The cluster of the MFT's virtual one; one that has none is the generic failure.
int64 ZNtfsVolume::lcnOfMft(int64 vcn, bool viaRunList) const {
    const int64 lcn =
        viaRunList ? mftRuns_.lcnOf(vcn) : static_cast<int64>(mftLcn_ + static_cast<uint64>(vcn));
    if (lcn < 0 || lcn > std::numeric_limits<int64>::max() / bytesPerCluster_)
        fail();
    return lcn;
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
    buffer.resize(recordSize_);
    if (recordsPerCluster_ == 0) {
        readAcrossClusters(index, buffer, viaRunList);
        return applyFixups(buffer);
    }
    const int64 lcn = lcnOfMft(static_cast<int64>(index / recordsPerCluster_), viaRunList);
    readSectors(static_cast<uint64>(lcn) * bootSector_.clusterSectors() +
                    index % recordsPerCluster_ * sectorsPerRecord_,
                sectorsPerRecord_, bootSector_.bytesPerSector, buffer.data());
    return applyFixups(buffer);
}

/// Reads a record that is larger than a cluster; its clusters need not lie side by side.
void ZNtfsVolume::readAcrossClusters(uint64 index, ntfs::RecordBuffer& buffer, bool viaRunList) {
    const uint32 clusters = recordSize_ / bytesPerCluster_;
    const auto first = static_cast<int64>(index * clusters);
    for (uint32 done = 0; done < clusters;) {
        const int64 lcn = lcnOfMft(first + done, viaRunList);
        uint32 count = 1;
        while (done + count < clusters && lcnOfMft(first + done + count, viaRunList) == lcn + count)
            ++count;
        readClusters(lcn, count, buffer.data() + std::size_t{done} * bytesPerCluster_);
        done += count;
    }
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
        return scanOptions().wholeFiles ? processToday(tree, number, onlyDirectories)
                                        : processClassic(tree, number, onlyDirectories);
    } catch (const std::bad_alloc&) {
        throw; // It would go wrong with all that follow, without a word.
    } catch (...) {
        return false;
    }
}

bool ZNtfsVolume::processClassic(ZFileTree& tree, int64 number, bool onlyDirectories) {
    ZMftRecord record(this, number);
    ZFileTreeNode node;
    if (!describe(record, number, node))
        return false;
    if (!node.isDirectory) {
        if (onlyDirectories)
            return false;
        const ZAttribute* data = record.findAttribute(ntfs::kData);
        if (data == nullptr)
            return false;
        node.size = data->dataSize();
    }
    if (node.name.empty() || node.size < 0 || node.size > kLargestFile)
        return false;
    tree.insert(std::move(node));
    return true;
}

bool ZNtfsVolume::processToday(ZFileTree& tree, int64 number, bool onlyDirectories) {
    ZMftRecord record(this, number);
    ZFileTreeNode node;
    if (!describe(record, number, node))
        return false;
    if (node.name.empty())
        return false;
    if (onlyDirectories) {
        if (!node.isDirectory)
            return false;
        separateStrangers(tree, number, record.sequence(), node.exists);
        if (tree.childIds(number).empty())
            return false;
        tree.insert(std::move(node));
        return true;
    }
    if (bitmapHasGaps_ && node.exists)
        return false;
    if (!node.isDirectory && !describeFile(record, node))
        return false;
    if (walk_) {
        const auto low = static_cast<uint32>(number);
        walk_->references.push_back({low, record.parentSequence()});
        if (node.isDirectory)
            walk_->folders.push_back({low, record.sequence(), node.exists});
        seesRecycled_ = seesRecycled_ || RecycleBin::mayDescribe(node.name);
    }
    if (scanOptions().streams)
        insertStreams(tree, record, node);
    tree.insert(std::move(node));
    return true;
}

/// Gives a file its size, and keeps its state. False when it never had content, or too much.
bool ZNtfsVolume::describeFile(ZMftRecord& record, ZFileTreeNode& node) {
    NtfsStream data;
    const bool isTold = record.findStream(ntfs::kData, {}, data);
    const bool hadContent = record.sizeByName() > 0 || !record.streamNames().empty();
    if (!isTold && (!hadContent || record.isViewIndex()))
        return false;
    node.size = data.isKnown ? data.size : std::clamp<int64>(record.sizeByName(), 0, kLargestFile);
    if (node.size > kLargestFile)
        return false;
    // Extension records are read again for those who ask.
    if (walk_ && data.extents.size() <= 1 &&
        (data.extents.empty() || data.extents.front().record == node.id)) {
        const FileState state = stateOf(record, data);
        if (state.kind != FileState::Kind::Unknown && state.kind != FileState::Kind::Unreadable)
            states_.add(static_cast<uint32>(node.id), state);
    }
    return true;
}

void ZNtfsVolume::insertStreams(ZFileTree& tree, ZMftRecord& record, const ZFileTreeNode& file) {
    int64 ordinal = 0;
    for (const std::wstring& name : record.streamNames()) {
        ++ordinal;
        NtfsStream stream;
        if (!record.findStream(ntfs::kData, name, stream) || stream.size > kLargestFile)
            continue;
        ZFileTreeNode node = file;
        node.id = file.id | (ordinal << ntfs::kSequenceShift);
        node.name = file.name + L'_' + name;
        node.isDirectory = false;
        node.size = stream.size;
        tree.insert(std::move(node));
    }
}

/// Takes out of a folder what was in another folder whose record it has now.
void ZNtfsVolume::separateStrangers(ZFileTree& tree, int64 folder, uint16 sequence, bool inUse) {
    if (!walk_ || walk_->references.empty())
        return;
    const std::vector<int64> children = tree.childIds(folder);
    std::vector<int64> strangers;
    const auto& references = walk_->references;
    auto found = references.begin();
    for (const int64 id : children) {
        const auto number = static_cast<uint32>(id);
        if (found == references.end() || number < found->record)
            found = references.begin();
        // Each record is there once at most, so it lies no further on than its number.
        const auto most = std::min(static_cast<uint64>(references.end() - found),
                                   uint64{number} - found->record + 1);
        found = std::lower_bound(
            found, found + static_cast<std::ptrdiff_t>(most), number,
            [](const Walk::Reference& a, uint32 record) { return a.record < record; });
        if (found != references.end() && found->record == number &&
            !ntfs::isSameRecord(found->parentSequence, sequence, inUse))
            strangers.push_back(id);
    }
    if (strangers.empty())
        return;
    if (strangers.size() == children.size()) {
        tree.moveChildren(folder, kLostFolder);
        return;
    }
    for (const int64 id : strangers) {
        ZFileTreeNode node = *tree.find(id);
        node.parentId = kLostFolder;
        tree.insert(std::move(node));
    }
}

/// The folder that a file's record names, by record and sequence number; 0 when it does not.
uint64 ZNtfsVolume::folderOf(int64 id) {
    try {
        ZMftRecord record(this, id & static_cast<int64>(ntfs::kRecordNumberMask));
        if (record.fileName().empty() || record.parentSequence() == 0)
            return 0;
        return static_cast<uint64>(record.parentReference()) | uint64{record.parentSequence()}
                                                                   << ntfs::kSequenceShift;
    } catch (...) {
        return 0;
    }
}

/// Puts what has lost its folder to another one of the same record back together, under the name
/// that the folder had, and in the folder that it was in.
void ZNtfsVolume::nameFormerFolders(ZFileTree& tree) {
    std::map<uint64, std::vector<int64>> contents;
    for (const int64 id : tree.childIds(kLostFolder)) {
        if (const uint64 folder = id < 0 ? 0 : folderOf(id); folder != 0)
            contents[folder].push_back(id);
    }
    if (contents.empty())
        return;
    NtfsFolderNames names;
    lookForNames(names);
    FormerFolders former{tree, names, {}, kFirstFormerFolder, 0};
    for (const auto& [reference, ids] : contents) {
        const int64 folder = formerFolder(reference, former);
        for (const int64 id : folder == kLostFolder ? std::vector<int64>() : ids) {
            ZFileTreeNode node = *tree.find(id);
            node.parentId = folder;
            tree.insert(std::move(node));
        }
    }
    collectOrphans(tree, [&](int64 id) { return processRecord(tree, id, true); });
}

/// The id of the folder that a reference names: of today's, or of one that is put into the tree.
int64 ZNtfsVolume::formerFolder(uint64 reference, FormerFolders& former) {
    const auto [known, isNew] = former.ids.try_emplace(reference, kLostFolder); // Ends circles.
    if (!isNew)
        return known->second;
    const auto number = static_cast<int64>(reference & ntfs::kRecordNumberMask);
    try {
        ZMftRecord record(this, number);
        // One that has lost its name is not in the tree.
        if (record.isDirectory() && (record.isInUse() || former.tree.find(number) != nullptr) &&
            ntfs::isSameRecord(ntfs::sequenceOf(reference), record.sequence(), record.isInUse()))
            return former.ids[reference] = number;
    } catch (...) { // NOLINT(bugprone-empty-catch): the record is gone
    }
    const NtfsFolderNames::Name* const name = former.names.find(reference);
    if (name == nullptr || former.depth == kDeepestFormer)
        return kLostFolder;
    ++former.depth;
    ZFileTreeNode folder;
    folder.id = former.nextId++;
    folder.parentId = formerFolder(name->parent, former);
    --former.depth;
    folder.name = name->text;
    folder.isDirectory = true;
    folder.creationTime = name->creationTime;
    folder.modificationTime = name->modificationTime;
    const int64 id = folder.id;
    former.tree.insert(std::move(folder));
    return former.ids[reference] = id;
}

/// Looks for the names of folders in all others.
void ZNtfsVolume::lookForNames(NtfsFolderNames& names) {
    constexpr uint32 kReportEvery = 1024;
    uint32 indexesLeft = kMostIndexes;
    startSpending();
    media()->setFlags(1, 0);
    const ZCustomMedia::ReadWindow window(*media());
    for (uint32 number = 0; number < recordCount_ && indexesLeft > 0; ++number) {
        if (number % kReportEvery == 0 && !setProgress(progress()))
            break;
        try {
            indexesLeft -= lookInFolder(number, names) ? 1U : 0U;
        } catch (...) { // NOLINT(bugprone-empty-catch): one folder less that tells
        }
    }
    media()->setFlags(0, 0);
}

/// Whether it has an index beside its record.
bool ZNtfsVolume::lookInFolder(int64 number, NtfsFolderNames& names) {
    constexpr int64 kMostIndex = int64{16} << 20;
    ntfs::RecordBuffer buffer;
    readMftRecord(number, buffer, true);
    if ((readLe<uint16>(buffer, RecordHeader::kFlags) & RecordHeader::kDirectory) == 0)
        return false;
    names.lookInRecord(buffer);
    ZMftRecord record(this, number);
    NtfsStream index;
    if (!record.findStream(ntfs::kIndexAllocation, L"$I30", index) || !index.isKnown)
        return false;
    ZMemoryStream content;
    static_cast<void>(NtfsContentReader(*this, record, index).read(content, kMostIndex));
    names.lookInIndex(content.bytes());
    return true;
}

NtfsFolderIndexes ZNtfsVolume::folderIndexes() {
    NtfsFolderIndexes indexes;
    startSpending();
    const ZCustomMedia::ReadWindow window(*media());
    indexes.uses.resize(recordCount_);
    for (uint32 number = 0; number < recordCount_; ++number) {
        try {
            addFolderIndex(number, indexes);
        } catch (int) { // NOLINT(bugprone-empty-catch): one folder less that tells
        }
    }
    return indexes;
}

void ZNtfsVolume::addFolderIndex(int64 number, NtfsFolderIndexes& indexes) {
    constexpr std::size_t kMostPlaces = 50'000; // Each may take a disk's arm elsewhere.
    ntfs::RecordBuffer buffer;
    readMftRecord(number, buffer, true);
    const auto flags = readLe<uint16>(buffer, RecordHeader::kFlags);
    const bool isInUse = (flags & RecordHeader::kInUse) != 0;
    indexes.uses[static_cast<std::size_t>(number)] = {
        readLe<uint16>(buffer, RecordHeader::kSequence), isInUse};
    if (!isInUse || (flags & RecordHeader::kDirectory) == 0 || indexes.places.size() >= kMostPlaces)
        return;
    if (recordsPerCluster_ != 0) {
        const auto vcn = static_cast<int64>(number / recordsPerCluster_);
        const auto cluster = static_cast<uint64>(lcnOfMft(vcn, true)) * bytesPerCluster_;
        indexes.places.push_back(
            {cluster + static_cast<uint64>(number) % recordsPerCluster_ * recordSize_,
             recordSize_});
    }
    ZMftRecord record(this, number);
    NtfsStream index;
    if (!record.findStream(ntfs::kIndexAllocation, L"$I30", index) || !index.isKnown)
        return;
    constexpr uint64 kMostBytes = uint64{1} << 20; // Of a piece, which is read at once.
    RunWalk walk(record, index, clustersOf(index));
    for (ZDatarun run; walk.next(run);) {
        const auto first = static_cast<uint64>(std::max<int64>(run.lcn, 0));
        auto left = static_cast<uint64>(run.length) * bytesPerCluster_;
        if (run.lcn < 0 || first > heldBytes() / bytesPerCluster_ || !trySpend(left))
            continue;
        for (uint64 at = first * bytesPerCluster_; left > 0; at += kMostBytes) {
            indexes.places.push_back({at, std::min(left, kMostBytes)});
            left -= indexes.places.back().length;
        }
    }
}

ClusterLayout ZNtfsVolume::clusterLayout() const {
    return {0, bytesPerCluster_, std::min(totalClusters_, heldBytes() / bytesPerCluster_)};
}

bool ZNtfsVolume::isInUse(uint64 index) const {
    return volumeBitmap_.isInUse(index);
}

std::vector<ByteRange> ZNtfsVolume::placeOf(const ZFileTreeNode& node) {
    std::vector<ByteRange> place;
    try {
        startSpending();
        ZMftRecord record(this, node.id & static_cast<int64>(ntfs::kRecordNumberMask));
        NtfsStream stream;
        if (!findStreamOf(record, node.id, stream) || stream.isResident || stream.isCompressed())
            return {};
        auto left = static_cast<uint64>(stream.size);
        RunWalk walk(record, stream, clustersOf(stream));
        for (ZDatarun run; walk.next(run);) {
            if (run.lcn < 0 || run.lcn > std::numeric_limits<int64>::max() / bytesPerCluster_ ||
                place.size() == kMostPieces)
                return {};
            const uint64 bytes = std::min(left, static_cast<uint64>(run.length) * bytesPerCluster_);
            place.push_back({static_cast<uint64>(run.lcn) * bytesPerCluster_, bytes});
            left -= bytes;
        }
        return place;
    } catch (...) {
        return {};
    }
}

void ZNtfsVolume::scan(ZFileTree* tree) {
    startSpending();
    states_.clear();
    tree->rootId = ntfs::kRootRecord;
    media()->setFlags(1, 0);
    if (!setProgress(0.0))
        return;
    const ZCustomMedia::ReadWindow window(*media());
    walk_.emplace();
    seesRecycled_ = false;
    LiveRecycled live;
    const bool takesLive = scanOptions().recycleBin && scanOptions().liveRecycleBin;
    for (uint32 number = 0; number < recordCount_; ++number) {
        if (!isAllocated(number))
            processRecord(*tree, number, false);
        if (takesLive)
            noteLive(number, live);
        if (!setProgress(static_cast<double>(number) * kWalkShare / recordCount_)) {
            walk_.reset();
            return;
        }
    }
    media()->setFlags(0, 0);
    const LiveRecycled::Found recycled = live.find();
    for (const uint32 number : recycled.contents)
        insertLive(*tree, number);
    for (const Walk::Folder& folder : walk_->folders)
        separateStrangers(*tree, folder.record, folder.sequence, folder.inUse);
    collectOrphans(*tree, [&](int64 id) { return processRecord(*tree, id, true); });
    walk_.reset();
    if (scanOptions().wholeFiles)
        nameFormerFolders(*tree);
    if (scanOptions().recycleBin && (seesRecycled_ || !recycled.descriptions.empty()))
        restoreRecycled(*tree, recycled.descriptions);
    setProgress(1.0);
}

void ZNtfsVolume::noteLive(int64 number, LiveRecycled& live) {
    try {
        ZMftRecord record(this, number);
        ZFileTreeNode node;
        if (record.isInUse() && describe(record, number, node))
            live.add(node);
    } catch (...) { // NOLINT(bugprone-empty-catch): one record that is damaged, or none at all
    }
}

/// False for what is damaged, or is neither a folder nor has content.
bool ZNtfsVolume::insertLive(ZFileTree& tree, int64 number) {
    try {
        ZMftRecord record(this, number);
        ZFileTreeNode node;
        if (!describe(record, number, node) || (!node.isDirectory && !describeFile(record, node)))
            return false;
        tree.insert(std::move(node));
        return true;
    } catch (...) {
        return false;
    }
}

void ZNtfsVolume::restoreRecycled(ZFileTree& tree, const std::vector<uint32>& liveDescriptions) {
    RecycleBin bin(tree, kFirstRecycledFolder);
    for (const uint32 number : liveDescriptions) {
        try {
            ZMftRecord record(this, number);
            ZFileTreeNode node;
            if (describe(record, number, node))
                bin.addLiveDescription(node);
        } catch (...) { // NOLINT(bugprone-empty-catch): its file stays where it is
        }
    }
    bin.restore([this](const ZFileTreeNode& file) { return smallContent(file); });
}

/// The bytes of a description in the recycle bin, empty when it is longer or cannot be read.
std::vector<uint8> ZNtfsVolume::smallContent(const ZFileTreeNode& file) {
    BoundedStream content(static_cast<int64>(RecycleBin::kMostBytes));
    try {
        if (extract(file, &content))
            return std::move(content.bytes());
    } catch (int) { // It is longer.
    }
    return {};
}

bool ZNtfsVolume::extract(const ZFileTreeNode& node, ZStream* out) {
    extractReport_ = {};
    try {
        startSpending();
        if (scanOptions().wholeFiles)
            return extractToday(node.id, *out);
        ZMftRecord record(this, node.id);
        if (record.isDirectory())
            return false;
        ZAttribute* data = record.findAttribute(ntfs::kData);
        if (data == nullptr)
            return false;
        data->readTo(*out);
        return true;
    } catch (...) {
        return false;
    }
}

/// Describes the stream that a node's id stands for; false when nothing tells of it.
bool ZNtfsVolume::findStreamOf(ZMftRecord& record, int64 id, NtfsStream& stream) const {
    std::wstring name;
    if (const int64 ordinal = id >> ntfs::kSequenceShift; ordinal > 0) {
        const auto names = record.streamNames();
        if (static_cast<uint64>(ordinal) > names.size())
            return false;
        name = names[static_cast<std::size_t>(ordinal - 1)];
    } else if (record.isDirectory()) {
        return false;
    }
    return record.findStream(ntfs::kData, name, stream) && stream.isKnown;
}

bool ZNtfsVolume::extractToday(int64 id, ZStream& out) {
    using Reason = ExtractReport::Reason;
    std::optional<ZMftRecord> record;
    try {
        record.emplace(this, id & static_cast<int64>(ntfs::kRecordNumberMask));
    } catch (int) {
        setShortfall(Reason::Damaged);
        return false;
    }
    NtfsStream stream;
    if (!findStreamOf(*record, id, stream)) {
        setShortfall(Reason::NoData);
        return false;
    }
    if (stream.size > kLargestFile) {
        setShortfall(Reason::Damaged);
        return false;
    }
    setShortfall(whyElsewhere(*record, stream));
    NtfsStream packed;
    if (extractReport_.reason == Reason::SystemPacked && findPacked(*record, packed)) {
        extractReport_ = {};
        extractPacked(*record, stream, packed, out);
        return extractReport_.reason == Reason::None;
    }
    if (extractReport_.reason == Reason::None && isOverwritten(*record, stream))
        setShortfall(Reason::Overwritten);
    if (extractReport_.reason == Reason::None && isBeyondDevice(*record, stream)) {
        setShortfall(Reason::BeyondDevice);
        extractReport_.unreadableBytes = static_cast<uint64>(stream.size);
    }
    if (extractReport_.reason != Reason::None)
        return false;
    extractReport_ = NtfsContentReader(*this, *record, stream).read(out);
    extractReport_.encrypted = (stream.flags & ntfs::AttributeHeader::kEncrypted) != 0;
    return extractReport_.reason == Reason::None;
}

/// Describes the stream that a packed system file's content is packed into.
bool ZNtfsVolume::findPacked(ZMftRecord& record, NtfsStream& packed) const {
    return record.reparsePoint().packing != ntfs::ReparsePoint::Packing::None &&
           record.findStream(ntfs::kData, std::wstring(ntfs::ReparsePoint::kPackedStream),
                             packed) &&
           packed.isKnown && packed.size <= kLargestFile;
}

void ZNtfsVolume::extractPacked(ZMftRecord& record, const NtfsStream& stream,
                                const NtfsStream& packed, ZStream& out) {
    using Reason = ExtractReport::Reason;
    SystemUnpacker unpacker(out, record.reparsePoint().packing, static_cast<uint64>(stream.size),
                            static_cast<uint64>(packed.size));
    if (!unpacker.isPossible())
        setShortfall(Reason::SystemPacked);
    else if (isOverwritten(record, packed))
        setShortfall(Reason::Overwritten);
    if (extractReport_.reason != Reason::None)
        return;
    extractReport_ = NtfsContentReader(*this, record, packed).read(unpacker);
    if (!unpacker.finish())
        setShortfall(Reason::SystemPacked);
}

/// Clusters of a stream's content; a compressed one has them in whole units.
int64 ZNtfsVolume::clustersOf(const NtfsStream& stream) const {
    const int64 clusters =
        stream.size / bytesPerCluster_ + (stream.size % bytesPerCluster_ != 0 ? 1 : 0);
    constexpr uint8 kLargestUnit = 20;
    if (!stream.isCompressed() || stream.compressionUnit > kLargestUnit)
        return clusters;
    const int64 unit = int64{1} << stream.compressionUnit;
    return (clusters + unit - 1) / unit * unit;
}

/// Why a file that has holes has its content elsewhere; `None` when its holes are zeros.
ExtractReport::Reason ZNtfsVolume::whyElsewhere(ZMftRecord& record, const NtfsStream& stream) {
    using Reason = ExtractReport::Reason;
    if (stream.isResident || !stream.name.empty() || stream.isCompressed())
        return Reason::None;
    bool hasHoles = stream.initializedSize < stream.size;
    RunWalk walk(record, stream, clustersOf(stream));
    for (ZDatarun run; !hasHoles && walk.next(run);)
        hasHoles = run.lcn < 0;
    if (!hasHoles)
        return Reason::None;
    const auto point = record.reparsePoint();
    if (point.isPacked())
        return Reason::SystemPacked;
    return point.isElsewhere() ? Reason::InCloud : Reason::None;
}

/// Whether a stream has clusters, and of each of its runs `isLost(lcn, clusters)` says so.
template <typename IsLost>
bool ZNtfsVolume::isAllLost(ZMftRecord& record, const NtfsStream& stream, IsLost isLost) const {
    bool hasClusters = false;
    if (stream.isResident)
        return false;
    RunWalk walk(record, stream, clustersOf(stream));
    for (ZDatarun run; walk.next(run);) {
        if (run.lcn < 0)
            continue;
        hasClusters = true;
        if (!isLost(static_cast<uint64>(run.lcn), static_cast<uint64>(run.length)))
            return false;
    }
    return hasClusters;
}

bool ZNtfsVolume::isOverwritten(ZMftRecord& record, const NtfsStream& stream) const {
    return !record.isInUse() && volumeBitmap_.clusters() != 0 &&
           isAllLost(record, stream, [this](uint64 lcn, uint64 clusters) {
               return volumeBitmap_.countInUse(lcn, clusters) == clusters;
           });
}

bool ZNtfsVolume::isBeyondDevice(ZMftRecord& record, const NtfsStream& stream) const {
    return isAllLost(record, stream, [this](uint64 lcn, uint64 /*clusters*/) {
        return lcn > (heldBytes() - 1) / bytesPerCluster_;
    });
}

FileState ZNtfsVolume::stateOf(ZMftRecord& record, const NtfsStream& stream) {
    if (!stream.isKnown)
        return {FileState::Kind::Unreadable};
    if (stream.isResident)
        return {FileState::Kind::Resident};
    if (record.isInUse() || volumeBitmap_.clusters() == 0)
        return {};
    uint64 clusters = 0;
    uint64 taken = 0;
    bool hasHoles = stream.initializedSize < stream.size;
    const uint64 held = heldBytes() / bytesPerCluster_;
    RunWalk walk(record, stream, clustersOf(stream));
    for (ZDatarun run; walk.next(run);) {
        if (run.lcn < 0) {
            hasHoles = true;
            continue;
        }
        const auto first = static_cast<uint64>(run.lcn);
        const auto length = static_cast<uint64>(run.length);
        if (first > held || length > held - first)
            return {FileState::Kind::Unreadable};
        clusters += length;
        taken += volumeBitmap_.countInUse(first, length);
    }
    if (walk.hasGaps())
        return {FileState::Kind::Unreadable};
    const auto elsewhere = hasHoles ? whyElsewhere(record, stream) : ExtractReport::Reason::None;
    NtfsStream packed;
    if (elsewhere == ExtractReport::Reason::SystemPacked && findPacked(record, packed))
        return stateOf(record, packed);
    if (elsewhere != ExtractReport::Reason::None)
        return {FileState::Kind::Unreadable};
    return FileStates::of(clusters, taken);
}

FileState ZNtfsVolume::assess(const ZFileTreeNode& node) {
    if (!scanOptions().wholeFiles || node.isDirectory)
        return {};
    FileState state;
    if (node.id >= 0 && node.id <= std::numeric_limits<uint32>::max() &&
        states_.find(static_cast<uint32>(node.id), state))
        return state;
    try {
        startSpending();
        ZMftRecord record(this, node.id & static_cast<int64>(ntfs::kRecordNumberMask));
        NtfsStream stream;
        if (!findStreamOf(record, node.id, stream))
            return {FileState::Kind::Unreadable};
        return stateOf(record, stream);
    } catch (int) {
        return {FileState::Kind::Unreadable};
    }
}

} // namespace kova
