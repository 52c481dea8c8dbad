#include "engine/fat/FatPlaceFinder.h"

#include "engine/content/ContentKinds.h"
#include "engine/fat/FatEntryParser.h"

#include <algorithm>
#include <utility>

namespace kova {

namespace {

/// Most bytes read to place one file.
constexpr uint32 kMostBytes = 64 * 1024;

/// So many times farther than the nearest place another one has to be for that to be clear.
constexpr uint32 kClearlyFarther = 4;

} // namespace

uint32 FatPlaceFinder::nearestAbove(uint32 recorded, uint32 cluster) const {
    uint32 nearest = 0;
    forEachCandidate(recorded, [&](uint32 candidate) {
        if (candidate > cluster && nearest == 0)
            nearest = candidate;
    });
    return nearest;
}

const FatPlaceFinder::Dots& FatPlaceFinder::dotsOf(uint32 cluster) {
    Dots& dots = dots_[cluster];
    if (std::exchange(dots.isKnown, true))
        return dots;
    const FatGeometry& geometry = volume_.geometry();
    buffer_.resize(geometry.bytesPerSector);
    volume_.readSectors(static_cast<uint64>(geometry.sectorOf(cluster)), 1, geometry.bytesPerSector,
                        buffer_.data());
    FatEntryParser parser;
    parser.begin(cluster, volume_.scanOptions(), geometry.type);
    uint32 clusters[2] = {};
    for (std::size_t i = 0; i < std::size(clusters); ++i) {
        const uint8* const entry = buffer_.data() + i * FatDirectoryEntry::kBytes;
        parser.feed(entry);
        // The two differ in their second character.
        if (!parser.entryComplete() || !parser.isDots() || !parser.entry().isDirectory() ||
            (entry[1] == '.') != (i == 1))
            return dots;
        clusters[i] = parser.firstCluster();
        if (i == 0)
            dots.created = parser.entry().creationStamp();
        parser.reset();
    }
    dots.self = clusters[0];
    dots.parent = clusters[1];
    return dots;
}

uint32 FatPlaceFinder::findFolder(uint32 recorded, uint32 parent) {
    uint32 best = 0;
    bool isProven = false;
    forEachCandidate(recorded, [&](uint32 cluster) {
        if (isProven || cluster > volume_.geometry().lastMediaCluster)
            return;
        const Dots& dots = dotsOf(cluster);
        if (dots.self != cluster)
            return;
        const bool isBelowRoot = parent == 0 && dots.parent == volume_.geometry().rootCluster;
        isProven = dots.parent == parent || isBelowRoot;
        if (best == 0 || isProven)
            best = cluster;
    });
    return best;
}

void FatPlaceFinder::run(std::span<FatFound> found,
                         std::initializer_list<std::span<const FatFolder>> folders,
                         const std::vector<FatFolderItem>& items) {
    found_ = found;
    items_ = &items;
    bool any = false;
    for (const FatFolderItem& item : items) {
        if (item.found == FatFolderItem::kLive || found[item.found].isRename)
            continue;
        FatPlace& place = found[item.found].place;
        if (item.clusters == 0) {
            place.first = 0;
        } else if (isHighWordLost(found[item.found].recorded)) {
            place.first = 0;
            place.certainty = FatPlace::Certainty::None;
            any = true;
        } else if (place.first != 0) {
            volume_.use_.addDeleted(place.first);
        }
    }
    if (!any)
        return;
    for (const auto some : folders) {
        for (const FatFolder& folder : some) {
            // What content tells is certain, and the others have their place beside it.
            placeFolder(folder, true);
            placeFolder(folder, false);
        }
    }
}

void FatPlaceFinder::placeFolder(const FatFolder& folder, bool checkedOnes) {
    const std::size_t count = folder.itemsEnd - folder.itemsBegin;
    const std::span<const FatFolderItem> items =
        std::span(*items_).subspan(folder.itemsBegin, count);
    const auto placeOf = [this](const FatFolderItem& item) {
        return item.found == FatFolderItem::kLive ? item.first : found_[item.found].place.first;
    };
    std::vector<uint32> after(count);
    uint32 next = 0;
    for (std::size_t i = count; i-- > 0;) {
        after[i] = next;
        if (const uint32 place = placeOf(items[i]); place != 0)
            next = place;
    }
    Neighbours neighbours;
    neighbours.before = folder.cluster;
    for (std::size_t i = 0; i < count; ++i) {
        const FatFolderItem& item = items[i];
        if (item.found != FatFolderItem::kLive && item.clusters > 0) {
            FatFound& found = found_[item.found];
            neighbours.after = after[i];
            if (found.place.first == 0 && !found.isRename && isHighWordLost(found.recorded) &&
                found.kinds->empty() != checkedOnes)
                place(found, item, neighbours);
        }
        if (const uint32 place = placeOf(item); place != 0) {
            neighbours.before = place + item.clusters;
            neighbours.isFile = true;
        }
    }
}

/// What is known of a cluster before it is read; nothing when it is not free.
std::optional<FatPlaceFinder::Candidate>
FatPlaceFinder::candidateAt(uint64 cluster, uint32 clusters, Neighbours neighbours) const {
    if (cluster > volume_.geometry().lastMediaCluster ||
        !volume_.table_.isFree(static_cast<uint32>(cluster)))
        return std::nullopt;
    Candidate candidate;
    candidate.cluster = static_cast<uint32>(cluster);
    candidate.hasRoom = clusters <= 1 || volume_.use_.freeFrom(candidate.cluster) >= clusters;
    candidate.isClaimed = volume_.use_.isDeletedStart(candidate.cluster);
    candidate.distance = std::max(candidate.cluster, neighbours.before) -
                         std::min(candidate.cluster, neighbours.before);
    candidate.isInOrder = cluster >= neighbours.before && candidate.distance < kHighWordStep &&
                          (neighbours.after <= neighbours.before || cluster < neighbours.after);
    constexpr int kHeaviest = 15;
    candidate.rank = static_cast<uint64>(kHeaviest - candidate.weight()) << 32U;
    candidate.rank += candidate.distance;
    return candidate;
}

/// Places a file right behind its neighbour, as most lie, where nothing could be likelier.
bool FatPlaceFinder::placeNext(FatFound& found, uint32 clusters, Neighbours neighbours) {
    uint64 cluster = found.recorded;
    if (cluster < neighbours.before)
        cluster += (neighbours.before - cluster + kHighWordStep - 1) / kHighWordStep *
                   uint64{kHighWordStep};
    if (cluster < kFirstDataCluster)
        return false;
    const std::optional<Candidate> next = candidateAt(cluster, clusters, neighbours);
    if (!next || !next->isInOrder || !next->hasRoom || next->isClaimed ||
        contentFit(*found.kinds, next->cluster) != Fit::Yes)
        return false;
    found.place.first = next->cluster;
    found.place.certainty = FatPlace::Certainty::Guessed;
    volume_.use_.addDeleted(next->cluster);
    return true;
}

/// Finds the free places.
void FatPlaceFinder::findCandidates(const FatFound& found, uint32 clusters, Neighbours neighbours) {
    candidates_.clear();
    forEachCandidate(found.recorded, [&](uint32 cluster) {
        if (const std::optional<Candidate> candidate = candidateAt(cluster, clusters, neighbours))
            candidates_.push_back(*candidate);
    });
}

void FatPlaceFinder::place(FatFound& found, const FatFolderItem& item, Neighbours neighbours) {
    if (placeNext(found, item.clusters, neighbours))
        return;
    findCandidates(found, item.clusters, neighbours);
    uint32 readsLeft = kMostBytes / volume_.geometry().bytesPerSector - 1;
    Candidate* best = nullptr;
    Candidate* second = nullptr;
    for (auto next = candidates_.begin(); next != candidates_.end(); ++next) {
        // Mostly the likeliest is it, and the others need no order.
        std::iter_swap(next, std::min_element(next, candidates_.end(),
                                              [](const Candidate& a, const Candidate& b) {
                                                  return a.rank < b.rank;
                                              }));
        Candidate& candidate = *next;
        if (readsLeft > 0) {
            --readsLeft;
            candidate.fit = contentFit(*found.kinds, candidate.cluster);
        }
        if (candidate.fit == Fit::No)
            continue;
        if (best == nullptr || candidate.weight() > best->weight()) {
            second = best;
            best = &candidate;
        } else if (second == nullptr || candidate.weight() > second->weight()) {
            second = &candidate;
        }
        // No other one can weigh as much.
        if (best->isInOrder && best->fit == Fit::Yes)
            break;
    }
    if (best == nullptr) {
        // A suffix may promise what the file is not; its neighbours leave just this gap for it.
        const auto fitsGap = std::ranges::find_if(candidates_, [&](const Candidate& candidate) {
            return neighbours.isFile && candidate.distance == 0 && candidate.isInOrder &&
                   candidate.hasRoom && !candidate.isClaimed;
        });
        if (fitsGap == candidates_.end())
            return;
        best = &*fitsGap;
    }
    const bool isClear = best->fit == Fit::Yes || neighbours.isFile || second == nullptr;
    const bool isTie = second != nullptr && second->weight() == best->weight() &&
                       second->distance / kClearlyFarther < best->distance;
    found.place.first = best->cluster;
    found.place.certainty =
        isClear && !isTie ? FatPlace::Certainty::Guessed : FatPlace::Certainty::Doubted;
    volume_.use_.addDeleted(best->cluster);
}

/// Whether a file of one of these kinds may begin here. Nothing but zeros begins no file that is
/// worth a place.
Fit FatPlaceFinder::contentFit(const FormerStarts::Kinds& kinds, uint32 cluster) {
    const FatGeometry& geometry = volume_.geometry();
    buffer_.resize(geometry.bytesPerSector);
    volume_.readSectors(static_cast<uint64>(geometry.sectorOf(cluster)), 1, geometry.bytesPerSector,
                        buffer_.data());
    if (std::all_of(buffer_.begin(), buffer_.end(), [](uint8 byte) { return byte == 0; }))
        return Fit::No;
    return fits(kinds, buffer_);
}

} // namespace kova
