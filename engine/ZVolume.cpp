#include "engine/ZVolume.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <set>
#include <stdexcept>
#include <vector>

namespace kova {

namespace {

/// Passes that may bring parents in; from the next one on all that is missing is given up.
constexpr uint32 kMostPasses = 0x10000;
constexpr double kPassStep = 0.01;
constexpr double kPassesEnd = 0.99;

} // namespace

void ZVolume::setProgressCallback(std::function<bool(double)> callback) {
    progressCallback_ = std::move(callback);
}

bool ZVolume::setProgress(double value) {
    if (value > 1.0)
        throw std::runtime_error("Progress value is out of bounds");
    progress_ = value;
    return progressCallback_ ? progressCallback_(value) : true;
}

FileState ZVolume::assess(const ZFileTreeNode& /*node*/) {
    return {};
}

ClusterLayout ZVolume::clusterLayout() const {
    return {};
}

bool ZVolume::isInUse(uint64 /*index*/) const {
    return false;
}

std::vector<ByteRange> ZVolume::placeOf(const ZFileTreeNode& /*node*/) {
    return {};
}

void ZVolume::addNote(VolumeNote note) {
    if (std::find(notes_.begin(), notes_.end(), note) == notes_.end())
        notes_.push_back(note);
}

void ZVolume::setShortfall(ExtractReport::Reason reason) {
    if (extractReport_.reason == ExtractReport::Reason::None)
        extractReport_.reason = reason;
}

void ZVolume::collectOrphans(ZFileTree& tree, const std::function<bool(int64)>& resolve) {
    std::set<int64> missing;
    std::set<int64> before;
    for (uint32 pass = 1; tree.getMissingParents(missing); ++pass) {
        if (pass > kMostPasses + 1 && missing == before)
            break; // Nothing moves any more.
        for (const int64 id : missing) {
            // A parent that was brought in but is not stored (refused by the filter) would come
            // up again in every pass.
            if (!resolve(id) || pass > kMostPasses || tree.find(id) == nullptr)
                tree.moveChildren(id, kLostFolder);
        }
        before.swap(missing);
        if (progress_ < kPassesEnd)
            setProgress(progress_ + kPassStep);
    }
}

void ZVolume::readSectors(uint64 sector, uint32 count, uint32 bytesPerSector, uint8* buffer) {
    if (count == 0)
        return;
    const uint32 mediaSector = media_->sectorSize();
    if (mediaSector == 0) {
        std::memset(buffer, 0, static_cast<std::size_t>(count) * bytesPerSector);
        return;
    }
    if (mediaSector == bytesPerSector) {
        media_->seek(sector);
        media_->read(buffer, count);
        return;
    }
    // An image of a drive with other sectors, or a file system made for other sectors.
    std::vector<uint8> bounce;
    const std::size_t size = static_cast<std::size_t>(count) * bytesPerSector;
    if (sector > std::numeric_limits<uint64>::max() / bytesPerSector) {
        std::memset(buffer, 0, size);
        return;
    }
    const uint64 start = sector * bytesPerSector;
    const auto skipped = static_cast<std::size_t>(start % mediaSector);
    const std::size_t sectors = (skipped + size + mediaSector - 1) / mediaSector;
    media_->seek(start / mediaSector);
    if (skipped == 0 && size % mediaSector == 0) {
        media_->read(buffer, static_cast<uint32>(sectors));
        return;
    }
    bounce.resize(sectors * mediaSector);
    media_->read(bounce.data(), static_cast<uint32>(sectors));
    std::memcpy(buffer, bounce.data() + skipped, size);
}

} // namespace kova
