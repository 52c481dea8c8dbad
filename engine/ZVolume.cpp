#include "engine/ZVolume.h"

#include "engine/PiecesSource.h"
#include "engine/content/ContentKinds.h"
#include "engine/content/judgeContent.h"
#include "engine/content/misnamed.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <set>
#include <span>
#include <stdexcept>
#include <vector>

namespace kova {

namespace {

/// Passes that may bring parents in; from the next one on all that is missing is given up.
constexpr uint32 kMostPasses = 0x10000;
constexpr double kPassStep = 0.01;
constexpr double kPassesEnd = 0.99;

/// Bytes that are looked at from either end of a file.
constexpr std::size_t kBytesSeen = 4096;

/// NTFS keeps such a file as who has the key would not see it.
constexpr uint32 kEncryptedAttribute = 0x4000;

bool isZero(std::span<const uint8> bytes) {
    return std::all_of(bytes.begin(), bytes.end(), [](uint8 byte) { return byte == 0; });
}

/// Places that are looked at before the inside of a file that begins and ends with zeros is held
/// for zeros, too: what is padded at both ends is not erased.
constexpr uint64 kPlacesSeen = 16;

bool isZeroInside(PiecesSource& source) {
    std::array<uint8, kBytesSeen> bytes{};
    for (uint64 place = 1; place < kPlacesSeen; ++place) {
        const std::size_t count = source.read(source.size() / kPlacesSeen * place, bytes);
        if (!isZero(std::span(bytes).first(count)))
            return false;
    }
    return true;
}

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

FileState ZVolume::assessContent(const ZFileTreeNode& node) {
    using Kind = FileState::Kind;
    FileState state = assess(node);
    if (media_ == nullptr || (state.kind != Kind::Whole && state.kind != Kind::Uncertain))
        return state;
    PiecesSource source(*media_, placeOf(node));
    const uint64 unreadable = media_->unreadableSectors();
    std::array<uint8, kBytesSeen> first{};
    std::array<uint8, kBytesSeen> last{};
    const std::span begins = std::span(first).first(source.read(0, first));
    const uint64 size = source.size();
    const std::span ends =
        std::span(last).first(source.read(size - std::min<uint64>(size, kBytesSeen), last));
    // Zeros stand for what cannot be read.
    if (begins.empty() || media_->unreadableSectors() != unreadable)
        return state;
    if (isZero(begins) && isZero(ends) && isZeroInside(source))
        state.kind = Kind::Erased;
    else if ((node.attributes & kEncryptedAttribute) == 0 && isMisnamed(node.name, begins))
        state.kind = Kind::NotWhatItsNameSays;
    return state;
}

FileState ZVolume::assessWholeContent(const ZFileTreeNode& node) {
    using Kind = FileState::Kind;
    FileState state = assessContent(node);
    const auto kinds = kindsForSuffix(suffixOf(node.name));
    if (media_ == nullptr || kinds.empty() || (node.attributes & kEncryptedAttribute) != 0 ||
        (state.kind != Kind::Whole && state.kind != Kind::Uncertain))
        return state;
    PiecesSource source(*media_, placeOf(node));
    const uint64 unreadable = media_->unreadableSectors();
    if (source.size() != static_cast<uint64>(std::max<int64>(node.size, 0)))
        return state;
    const ContentVerdict verdict = judgeContent(source, kinds);
    // Zeros stand for what cannot be read.
    if (verdict.fit == Fit::No && verdict.begins && media_->unreadableSectors() == unreadable)
        state.kind = Kind::Inconsistent;
    return state;
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

std::optional<uint64> ZVolume::startOf(const ZFileTreeNode& node) {
    const std::vector<ByteRange> place = placeOf(node);
    return place.empty() ? std::nullopt : std::optional(place.front().start);
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
