#include "engine/ntfs/NtfsContentReader.h"

#include "engine/ntfs/Lznt1.h"
#include "engine/ntfs/RunWalk.h"
#include "engine/ntfs/ZNtfsVolume.h"

#include <algorithm>
#include <utility>

namespace kova {

namespace {

using Reason = ExtractReport::Reason;

/// Most clusters, and most bytes, to be read in one request.
constexpr uint32 kClustersPerRead = 256;
constexpr int64 kLargestRequest = 1 << 22;
/// Windows makes units of 64 KiB at most.
constexpr int64 kLargestUnit = 1 << 22;

int64 divideUp(int64 value, int64 divisor) {
    return value / divisor + (value % divisor != 0 ? 1 : 0);
}

} // namespace

NtfsContentReader::NtfsContentReader(ZNtfsVolume& volume, ZMftRecord& record,
                                     const NtfsStream& stream)
    : volume_(volume), record_(record), stream_(stream), clusterBytes_(volume.bytesPerCluster()),
      clustersPerRead_(std::min(
          kClustersPerRead, std::max(static_cast<uint32>(kLargestRequest / clusterBytes_), 1U))) {}

ExtractReport NtfsContentReader::read(ZStream& out, int64 limit) {
    out_ = &out;
    report_ = {};
    const int64 total = std::min(stream_.size, limit);
    if (stream_.isResident) {
        if (total > 0)
            out.write(stream_.value.data(), static_cast<uint32>(total));
        return report_;
    }
    const int64 initialized = std::min(total, stream_.initializedSize);
    if (stream_.isCompressed() ? readCompressed(initialized) : readPlain(initialized))
        addZeros(total - initialized);
    flush();
    return report_;
}

bool NtfsContentReader::readPlain(int64 initialized) {
    RunWalk walk(record_, stream_, divideUp(initialized, clusterBytes_));
    int64 left = initialized;
    for (ZDatarun run; left > 0 && walk.next(run);) {
        const int64 bytes = run.length > left / clusterBytes_ ? left : run.length * clusterBytes_;
        left -= bytes;
        if (run.lcn == ZDatarun::NotMapped)
            fallShort(Reason::ExtentMissing);
        if (run.lcn < 0 && !volume_.trySpend(static_cast<uint64>(clusterBytes_))) {
            fallShort(Reason::Damaged); // However long, a hole costs as much as a cluster.
            return false;
        }
        if (run.lcn < 0)
            addZeros(bytes);
        else if (!readClusters(run.lcn, bytes))
            return false;
    }
    addZeros(left);
    return true;
}

/// Reads `bytes` from cluster `lcn` on; false when the volume asks for too much.
bool NtfsContentReader::readClusters(int64 lcn, int64 bytes) {
    const int64 held = heldOf(lcn, bytes);
    for (int64 done = 0; done < held;) {
        const auto room = int64{clustersPerRead_} - gathered_ / clusterBytes_;
        const auto count =
            static_cast<uint32>(std::min(divideUp(held - done, clusterBytes_), room));
        const auto size = static_cast<uint32>(count * clusterBytes_);
        // Clusters belong to one stream once: what asks for more than the volume holds is crafted.
        if (!volume_.trySpend(size)) {
            fallShort(Reason::Damaged);
            return false;
        }
        if (pendingZeros_ > 0)
            flush();
        if (buffer_.size() < gathered_ + size)
            buffer_.resize(std::max<std::size_t>(gathered_ + size, 2 * buffer_.size()));
        fetch(lcn, count, buffer_.data() + gathered_);
        const auto used = static_cast<uint32>(std::min<int64>(size, held - done));
        gathered_ += used;
        done += used;
        lcn += count;
        if (used < size || gathered_ / clusterBytes_ == clustersPerRead_)
            flush();
    }
    if (held < bytes) {
        report_.unreadableBytes += static_cast<uint64>(bytes - held);
        fallShort(Reason::BeyondDevice);
        addZeros(bytes - held);
    }
    return true;
}

void NtfsContentReader::fetch(int64 lcn, uint32 clusters, uint8* buffer) {
    const uint64 before = volume_.media()->unreadableSectors();
    volume_.readClusters(lcn, clusters, buffer);
    report_.unreadableBytes +=
        (volume_.media()->unreadableSectors() - before) * volume_.media()->sectorSize();
}

/// Bytes of a range of clusters that lie on the device.
int64 NtfsContentReader::heldOf(int64 lcn, int64 bytes) const {
    const auto device = static_cast<int64>(volume_.heldBytes());
    if (lcn > device / clusterBytes_)
        return 0;
    return std::min(bytes, device - lcn * clusterBytes_);
}

bool NtfsContentReader::readCompressed(int64 initialized) {
    const int64 unitClusters =
        stream_.compressionUnit < 32 ? int64{1} << stream_.compressionUnit : kLargestUnit;
    if ((stream_.flags & ntfs::AttributeHeader::kCompressionMask) !=
            ntfs::AttributeHeader::kLznt1 ||
        unitClusters > kLargestUnit / clusterBytes_) {
        fallShort(Reason::Compressed);
        return false;
    }
    const int64 unitBytes = unitClusters * clusterBytes_;
    const int64 units = divideUp(initialized, unitBytes);
    expanded_.resize(static_cast<std::size_t>(unitBytes));
    RunWalk walk(record_, stream_, units * unitClusters);
    ZDatarun run;
    for (int64 done = 0; done < initialized;) {
        const int64 bytes = std::min(unitBytes, initialized - done);
        if (!gatherUnit(walk, run, unitClusters, divideUp(bytes, clusterBytes_))) {
            fallShort(Reason::Damaged);
            return false;
        }
        expandUnit(bytes, unitBytes);
        done += bytes;
        // A long hole is passed at once.
        const int64 holes = run.lcn == ZDatarun::Hole ? run.length / unitClusters : 0;
        if (holes > 0) {
            const int64 skipped = std::min(holes * unitBytes, initialized - done);
            addZeros(skipped);
            done += skipped;
            run.length -= holes * unitClusters;
        }
    }
    return true;
}

/// Fills `packed_` with the next unit's clusters. `run` is what is left of the run that the unit
/// before ended in. False when the volume asks for too much.
bool NtfsContentReader::gatherUnit(RunWalk& walk, ZDatarun& run, int64 unitClusters,
                                   int64 neededClusters) {
    packed_.clear();
    unitIsWhole_ = true;
    unitHasGap_ = false;
    for (int64 at = 0; at < unitClusters;) {
        if (run.length == 0 && !walk.next(run))
            break;
        const int64 count = std::min(run.length, unitClusters - at);
        if (run.lcn < 0) {
            unitIsWhole_ = unitIsWhole_ && run.lcn == ZDatarun::NotMapped && at >= neededClusters;
            unitHasGap_ = unitHasGap_ || (run.lcn == ZDatarun::NotMapped && at < neededClusters);
        } else {
            const auto size = static_cast<std::size_t>(count * clusterBytes_);
            const std::size_t before = packed_.size();
            if (!volume_.trySpend(size))
                return false;
            packed_.resize(before + size);
            const int64 held = heldOf(run.lcn, static_cast<int64>(size));
            if (held > 0)
                fetch(run.lcn, static_cast<uint32>(divideUp(held, clusterBytes_)),
                      packed_.data() + before);
            if (held < static_cast<int64>(size)) {
                report_.unreadableBytes +=
                    size - static_cast<std::size_t>(std::max<int64>(held, 0));
                fallShort(Reason::BeyondDevice);
            }
            run.lcn += count;
        }
        run.length -= count;
        at += count;
    }
    return true;
}

/// Writes the first `bytes` of the unit that has been gathered.
void NtfsContentReader::expandUnit(int64 bytes, int64 unitBytes) {
    if (unitHasGap_)
        fallShort(Reason::ExtentMissing); // Nobody knows then whether it is compressed.
    if (unitHasGap_ || packed_.empty()) {
        addZeros(bytes);
        return;
    }
    const auto size = static_cast<std::size_t>(bytes);
    if (unitIsWhole_) {
        packed_.resize(static_cast<std::size_t>(unitBytes));
        write(std::span(packed_).first(size));
        return;
    }
    if (!Lznt1::expand(packed_, expanded_, size))
        fallShort(Reason::Compressed);
    write(std::span(expanded_).first(size));
}

void NtfsContentReader::write(std::span<const uint8> bytes) {
    flush();
    out_->write(bytes.data(), static_cast<uint32>(bytes.size()));
}

void NtfsContentReader::addZeros(int64 bytes) {
    pendingZeros_ += bytes;
}

void NtfsContentReader::flush() {
    const uint32 bytes = std::exchange(gathered_, 0);
    if (bytes > 0)
        out_->write(buffer_.data(), bytes);
    const int64 zeros = std::exchange(pendingZeros_, 0);
    if (zeros > 0)
        out_->fillZeros(zeros);
}

void NtfsContentReader::fallShort(Reason reason) {
    if (report_.reason == Reason::None)
        report_.reason = reason;
}

} // namespace kova
