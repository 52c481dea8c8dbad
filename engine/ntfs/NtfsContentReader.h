#pragma once

#include "engine/ExtractReport.h"
#include "engine/ZStream.h"
#include "engine/ntfs/NtfsStream.h"
#include "engine/ntfs/ZDatarun.h"

#include <limits>
#include <vector>

namespace kova {

class RunWalk;
class ZMftRecord;
class ZNtfsVolume;

/// Reads the content of one stream, by today's rules: zeros stand for what is missing, so that the
/// rest lies where it did, and the report says that they do.
class NtfsContentReader {
public:
    /// All outlive the reader.
    NtfsContentReader(ZNtfsVolume& volume, ZMftRecord& record, const NtfsStream& stream);

    /// Appends the content to `out`, at most `limit` bytes of it. Only what `out` throws passes
    /// out.
    ExtractReport read(ZStream& out, int64 limit = std::numeric_limits<int64>::max());

private:
    /// These are false when the volume asks for too much.
    bool readPlain(int64 initialized);
    bool readCompressed(int64 initialized);
    bool gatherUnit(RunWalk& walk, ZDatarun& run, int64 unitClusters, int64 neededClusters);
    void expandUnit(int64 bytes, int64 unitBytes);

    bool readClusters(int64 lcn, int64 bytes);
    void fetch(int64 lcn, uint32 clusters, uint8* buffer);
    [[nodiscard]] int64 heldOf(int64 lcn, int64 bytes) const;

    void write(std::span<const uint8> bytes);
    void addZeros(int64 bytes);
    void flush();
    void fallShort(ExtractReport::Reason reason);

    ZNtfsVolume& volume_;
    ZMftRecord& record_;
    const NtfsStream& stream_;
    ZStream* out_ = nullptr;
    ExtractReport report_;
    int64 clusterBytes_;
    uint32 clustersPerRead_;
    std::vector<uint8> buffer_;
    uint32 gathered_ = 0;         ///< Bytes in `buffer_` that wait to be written.
    int64 pendingZeros_ = 0;      ///< Bytes; written after what is gathered.
    std::vector<uint8> packed_;   ///< Of a compression unit, what its clusters hold.
    std::vector<uint8> expanded_; ///< The unit's content.
    bool unitIsWhole_ = false;    ///< It has all of its clusters: it is not compressed.
    bool unitHasGap_ = false;
};

} // namespace kova
