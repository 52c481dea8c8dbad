#include "engine/ntfs/ZAttribute.h"

#include "engine/ntfs/RunList.h"
#include "engine/ntfs/ZMftRecord.h"
#include "engine/ntfs/ZNtfsVolume.h"
#include "format/WideText.h"

#include <algorithm>

namespace kova {

namespace {

/// Most bytes to be read in one request: large clusters are read in fewer.
constexpr uint32 kLargestRequest = 1U << 22;
/// All that the low byte of an attribute's flags may be for it to be read.
constexpr uint8 kHighestFlags = 1;

} // namespace

/// Copies the clusters of one attribute to a stream, gathering runs into full requests.
class ZAttribute::Reader {
public:
    Reader(ZNtfsVolume& volume, ZStream& out, int64 total, uint32 bytesPerCluster,
           uint32 clustersPerRead)
        : volume_(volume), out_(out), total_(total), bytesPerCluster_(bytesPerCluster),
          clustersPerRead_(
              std::min(clustersPerRead, std::max(kLargestRequest / bytesPerCluster, 1U))) {}

    void copy(const ZDatarun& run) {
        if (run.lcn < ZDatarun::Hole)
            return;
        if (run.lcn == ZDatarun::Hole)
            skip(run.length);
        else
            read(run.lcn, run.length);
    }

    /// Hands on what has been gathered.
    void flush() {
        const uint32 bytes = gathered_;
        gathered_ = 0;
        if (bytes > 0)
            out_.write(buffer_.data(), bytes);
    }

    [[nodiscard]] int64 written() const { return written_; }

private:
    [[nodiscard]] int64 left() const { return total_ - written_; }

    void skip(int64 clusters) {
        flush();
        const int64 most = left() / bytesPerCluster_;
        const int64 bytes = clusters > most ? left() : clusters * bytesPerCluster_;
        written_ += static_cast<int64>(out_.fill(0, static_cast<uint32>(bytes)));
    }

    void read(int64 lcn, int64 clusters) {
        while (clusters > 0 && left() > 0) {
            const uint32 room = clustersPerRead_ - gathered_ / bytesPerCluster_;
            const int64 wanted = (left() - 1) / bytesPerCluster_ + 1;
            const auto count = static_cast<uint32>(std::min({clusters, wanted, int64{room}}));
            const uint32 bytes = count * bytesPerCluster_;
            if (buffer_.size() < gathered_ + bytes)
                buffer_.resize(std::max<std::size_t>(gathered_ + bytes, 2 * buffer_.size()));
            // Clusters belong to one attribute once: what asks for more than the volume holds is
            // crafted.
            volume_.spend(bytes);
            volume_.readClusters(lcn, count, buffer_.data() + gathered_);
            const auto used = static_cast<uint32>(std::min<int64>(bytes, left()));
            gathered_ += used;
            written_ += used;
            lcn += count;
            clusters -= count;
            if (used < bytes || gathered_ / bytesPerCluster_ == clustersPerRead_)
                flush();
        }
    }

    ZNtfsVolume& volume_;
    ZStream& out_;
    int64 total_;
    uint32 bytesPerCluster_;
    uint32 clustersPerRead_;
    std::vector<uint8> buffer_;
    uint32 gathered_ = 0; ///< Bytes in the buffer that wait to be handed on.
    int64 written_ = 0;   ///< Bytes handed on or gathered.
};

ZAttribute::ZAttribute(ZNtfsVolume* volume, Part first)
    : first_(first), volume_(volume), bytesPerCluster_(volume->bytesPerCluster()) {}

bool ZAttribute::isValid() const {
    const auto& header = first_.header;
    if (header.id() > ntfs::kHighestAttributeId || header.type() % ntfs::kTypeStep != 0)
        return false;
    switch (header.nonResidentFlag()) {
    case 0:
        return uint64{header.valueOffset()} + header.valueLength() <= header.length();
    case 1:
        return header.firstVcn() >= 0 &&
               static_cast<uint64>(header.firstVcn()) <= volume_->totalClusters() &&
               header.lastVcn() >= -1 && header.dataSize() >= 0 && header.initializedSize() >= 0 &&
               header.allocatedSize() >= 0 && header.runsOffset() <= volume_->recordSize();
    default:
        return false;
    }
}

int64 ZAttribute::dataSize() const {
    return isResident() ? first_.header.valueLength() : first_.header.dataSize();
}

const std::wstring& ZAttribute::getName() {
    const auto& header = first_.header;
    if (name_.empty() && header.nameLength() != 0)
        name_ = format::wideFromUtf16Le(
            header.bytes(header.nameOffset(), std::size_t{2} * header.nameLength()));
    return name_;
}

std::span<const uint8> ZAttribute::residentValue() const {
    if (partCount() != 1)
        fail();
    const auto& header = first_.header;
    const auto value = header.bytes(header.valueOffset(), header.valueLength());
    const ntfs::RecordBuffer& record = *first_.record;
    const auto inUse = readLe<uint32>(record, ntfs::RecordHeader::kBytesInUse);
    if (value.data() + value.size() > record.data() + std::min<std::size_t>(inUse, record.size()))
        throw ZMftRecord::EOutOfRange{};
    return value;
}

uint64 ZAttribute::readTo(ZStream& out, int64 limit) {
    if (isResident()) {
        auto value = residentValue();
        if (static_cast<int64>(value.size()) > limit)
            value = value.first(static_cast<std::size_t>(limit));
        if (!value.empty())
            out.write(value.data(), static_cast<uint32>(value.size()));
        return value.size();
    }

    if ((first_.header.flags() & 0xFF) > kHighestFlags)
        fail();
    const int64 total = std::min(dataSize(), limit);
    if (total < 0)
        fail();
    Reader reader(*volume_, out, total, bytesPerCluster_, clustersPerRead_);
    RunList runs;
    for (std::size_t i = 0; i < partCount(); ++i) {
        const auto& header = part(i).header;
        if (header.isResident())
            fail();
        if (!runs.decode(bytesPerCluster_, header))
            fail();
        if (header.compressionUnit() != 0)
            fail();
        for (const ZDatarun& run : runs)
            reader.copy(run);
        reader.flush();
    }
    return static_cast<uint64>(reader.written());
}

} // namespace kova
