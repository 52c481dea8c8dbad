#include "engine/search/remnants/NtfsRemnants.h"

#include "engine/ntfs/NtfsStream.h"
#include "engine/ntfs/ZMftRecord.h"
#include "format/WideText.h"

#include <algorithm>
#include <map>
#include <unordered_map>
#include <unordered_set>
#include <utility>

namespace kova {

namespace {

/// Drives are formatted a few times in their lives; what collides more often is put aside.
constexpr std::size_t kMostVolumes = 16;
/// A cluster size that hardly any record tells otherwise.
constexpr uint32 kUsualClusterBytes = 4096;

/// The value that most of `votes` are for, `otherwise` without votes.
template <typename Value>
Value mostVoted(const std::unordered_map<Value, std::size_t>& votes, Value otherwise) {
    std::size_t most = 0;
    for (const auto& [value, count] : votes) {
        if (count > most || (count == most && value < otherwise)) {
            most = count;
            otherwise = value;
        }
    }
    return otherwise;
}

uint32 clusterBytesOf(const std::vector<const NtfsRecordFinder::Sighting*>& records) {
    std::unordered_map<uint32, std::size_t> votes;
    for (const auto* record : records) {
        if (record->clusterBytes != 0)
            ++votes[record->clusterBytes];
    }
    return mostVoted<uint32>(votes, 0);
}

/// A volume that is being put together.
struct Volume {
    ZFormerNtfsVolume::Geometry geometry;

    [[nodiscard]] bool takes(const std::vector<const NtfsRecordFinder::Sighting*>& piece,
                             uint32 clusterBytes) const {
        if (piece.front()->recordBytes != geometry.recordBytes)
            return false;
        if (clusterBytes != 0 && geometry.clusterBytes != 0 &&
            clusterBytes != geometry.clusterBytes)
            return false;
        return std::none_of(piece.begin(), piece.end(), [this](const auto* record) {
            return geometry.records.contains(record->number);
        });
    }
};

/// The volume's label, empty where its record is gone or has none.
std::wstring labelOf(ZNtfsVolume& volume) {
    try {
        ZMftRecord record(&volume, ntfs::kVolumeRecord);
        NtfsStream label;
        if (record.findStream(ntfs::kVolumeName, {}, label) && label.isResident)
            return format::wideFromUtf16Le(label.value);
    } catch (...) { // NOLINT(bugprone-empty-catch): without a label all else is the same
    }
    return {};
}

} // namespace

NtfsRemnants::NtfsRemnants(const NtfsRecordFinder& found, std::vector<ByteRange> known)
    : found_(found), known_(std::move(known)) {
    std::sort(known_.begin(), known_.end(),
              [](const ByteRange& a, const ByteRange& b) { return a.start < b.start; });
}

bool NtfsRemnants::isKnown(uint64 position) const {
    const auto after =
        std::upper_bound(known_.begin(), known_.end(), position,
                         [](uint64 value, const ByteRange& range) { return value < range.start; });
    return after != known_.begin() && position < std::prev(after)->end();
}

/// Records whose place and number keep step, the largest piece first.
std::vector<NtfsRemnants::Piece> NtfsRemnants::pieces() const {
    std::map<std::pair<uint32, uint64>, Piece> byBase;
    for (const Sighting& record : found_.sightings()) {
        if (isKnown(record.position))
            continue;
        // May be below 0; it only has to be the same for all of a piece.
        const uint64 base = record.position - uint64{record.number} * record.recordBytes;
        byBase[{record.recordBytes, base}].push_back(&record);
    }
    std::vector<Piece> pieces;
    pieces.reserve(byBase.size());
    for (auto& [base, piece] : byBase)
        pieces.push_back(std::move(piece));
    std::stable_sort(pieces.begin(), pieces.end(),
                     [](const Piece& a, const Piece& b) { return a.size() > b.size(); });
    return pieces;
}

/// Where a volume began: each of its folders says in which cluster its index begins, and an index
/// begins there.
int64 NtfsRemnants::startOf(const ZFormerNtfsVolume::Geometry& geometry) const {
    std::unordered_set<uint64> own;
    for (const auto& [number, position] : geometry.records)
        own.insert(position);
    constexpr std::size_t kMostAsked = 256;
    std::size_t asked = 0;
    std::unordered_map<int64, std::size_t> votes;
    for (const auto& folder : found_.indexRuns()) {
        if (!own.contains(folder.record) || asked++ >= kMostAsked)
            continue;
        const auto before = static_cast<int64>(folder.lcn * geometry.clusterBytes);
        for (const uint64 block : found_.indexBlocks())
            ++votes[static_cast<int64>(block) - before];
    }
    return mostVoted<int64>(votes, 0);
}

std::vector<FormerVolume> NtfsRemnants::volumes(ZCustomMedia& media) const {
    std::vector<Volume> volumes;
    for (const Piece& piece : pieces()) {
        const uint32 clusterBytes = clusterBytesOf(piece);
        auto volume = std::find_if(volumes.begin(), volumes.end(), [&](const Volume& candidate) {
            return candidate.takes(piece, clusterBytes);
        });
        if (volume == volumes.end()) {
            if (volumes.size() == kMostVolumes)
                continue;
            volumes.emplace_back();
            volume = std::prev(volumes.end());
            volume->geometry.recordBytes = piece.front()->recordBytes;
        }
        if (volume->geometry.clusterBytes == 0)
            volume->geometry.clusterBytes = clusterBytes;
        for (const Sighting* record : piece)
            volume->geometry.records.emplace(record->number, record->position);
    }

    std::vector<FormerVolume> former;
    for (Volume& volume : volumes) {
        if (volume.geometry.clusterBytes == 0)
            volume.geometry.clusterBytes = kUsualClusterBytes;
        volume.geometry.start = startOf(volume.geometry);
        auto made = std::make_unique<ZFormerNtfsVolume>(&media, std::move(volume.geometry));
        made->init();
        const std::wstring label = labelOf(*made);
        former.push_back({formerTitle(L"NTFS", label), std::move(made)});
    }
    return former;
}

} // namespace kova
