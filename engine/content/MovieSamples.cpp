#include "engine/content/MovieSamples.h"

#include <algorithm>
#include <array>
#include <map>

namespace kova {

namespace {

using namespace std::string_view_literals;

constexpr uint64 kHeader = 8;
constexpr int kDeepest = 8;
/// What is kept of a hostile or a very long movie.
constexpr std::size_t kMostSamples = 1 << 21;
constexpr std::size_t kMostTracks = 64;
constexpr uint32 kLargestSample = 1 << 30;

/// All tables: version and flags (4 bytes), then how many entries (4), but for "stsz", which has
/// the size of all samples first, 0 if they differ, and "stz2", where a byte gives the bits of a
/// size.
constexpr uint64 kCountAt = 4;
constexpr uint64 kEntriesAt = 8;
constexpr uint64 kSizeCountAt = 8;
constexpr uint64 kSizesAt = 12;
constexpr uint64 kSizeBitsAt = 7;
/// An entry of "stsc": number of the first chunk that it is for, from 1 on, samples in each,
/// description (4 each).
constexpr uint64 kRunBytes = 12;

/// The first description: length (4), coding (4), 8 bytes; of a picture 70 more, then boxes.
constexpr uint64 kCodingAt = 12;
constexpr uint64 kPictureBoxesAt = kEntriesAt + 86;
/// Where the records of codings tell how long a unit's length is: its two lowest bits and 1.
constexpr uint64 kLength264At = kHeader + 4;
constexpr uint64 kLength265At = kHeader + 21;

constexpr std::string_view kSounds[] = {"mp4a", "alac", "samr", "sawb", "ac-3", "ec-3", "Opus"};
constexpr std::string_view kPictures264[] = {"avc1", "avc2", "avc3", "avc4", "dva1", "dvav"};
constexpr std::string_view kPictures265[] = {"hvc1", "hev1", "dvh1", "dvhe"};
constexpr std::string_view kPicturesJpeg[] = {"jpeg", "mjpa", "AVDJ"};

template <std::size_t kCount>
bool isOneOf(std::string_view type, const std::string_view (&types)[kCount]) {
    return std::ranges::find(types, type) != std::end(types);
}

/// Kinds of units that a sample holds.
constexpr bool isUnit264(uint8 first) {
    const int type = first & 0x1F;
    return (first & 0x80) == 0 && type != 0 && type < 24;
}

constexpr bool isUnit265(uint8 first, uint8 second) {
    const int type = first >> 1;
    return (first & 0x80) == 0 && (second & 7) != 0 &&
           (type < 10 || (type >= 16 && type < 22) || (type >= 32 && type < 41) || type >= 48);
}

} // namespace

void MovieSamples::takeMovie(ContentReader& reader, uint64 at, uint64 end) {
    for (; at + kHeader <= end;) {
        const uint64 bytes = reader.be<uint32>(at);
        if (bytes < kHeader || bytes > end - at)
            return;
        if (reader.matches(at + 4, "trak") && tracks_.size() < kMostTracks) {
            Tables tables;
            tables.end = at + bytes;
            collect(reader, at + kHeader, at + bytes, 0, tables);
            takeTrack(reader, tables);
        }
        at += bytes;
    }
}

void MovieSamples::collect(ContentReader& reader, uint64 at, uint64 end, int depth,
                           Tables& tables) {
    struct Place {
        std::string_view type;
        uint64 Tables::*at;
    };

    constexpr std::array<Place, 6> kPlaces{{{"stsd", &Tables::description},
                                            {"stsz", &Tables::sizes},
                                            {"stz2", &Tables::compactSizes},
                                            {"stco", &Tables::chunks},
                                            {"co64", &Tables::longChunks},
                                            {"stsc", &Tables::samplesOfChunks}}};
    while (at + kHeader <= end && depth < kDeepest) {
        const uint64 bytes = reader.be<uint32>(at);
        if (bytes < kHeader || bytes > end - at)
            return;
        const std::string type = reader.text(at + 4, 4);
        if (type == "mdia" || type == "minf" || type == "stbl")
            collect(reader, at + kHeader, at + bytes, depth + 1, tables);
        for (const Place& place : kPlaces) {
            if (type == place.type)
                tables.*place.at = at + kHeader;
        }
        at += bytes;
    }
}

MovieSamples::Track MovieSamples::trackOf(ContentReader& reader, uint64 description, uint64 end) {
    Track track;
    const std::string coding = reader.text(description + kCodingAt, 4);
    if (isOneOf(coding, kSounds))
        track.coding = Coding::Sound;
    else if (isOneOf(coding, kPicturesJpeg))
        track.coding = Coding::Jpeg;
    const bool is264 = isOneOf(coding, kPictures264);
    if (!is264 && !isOneOf(coding, kPictures265))
        return track;
    for (uint64 at = description + kPictureBoxesAt; at + kHeader <= end;) {
        const uint64 bytes = reader.be<uint32>(at);
        if (bytes < kHeader || bytes > end - at)
            break;
        if (reader.matches(at + 4, is264 ? "avcC"sv : "hvcC"sv)) {
            const uint64 lengthAt = at + (is264 ? kLength264At : kLength265At);
            track.lengthBytes = static_cast<uint8>((reader.byte(lengthAt) & 3) + 1);
            track.coding = is264 ? Coding::Nal264 : Coding::Nal265;
        }
        at += bytes;
    }
    return track;
}

/// Where the chunks of a track begin; none when more are told of than there is room for.
std::vector<uint64> MovieSamples::chunksOf(ContentReader& reader, const Tables& tables) {
    const bool isLong = tables.chunks == 0;
    const uint64 table = isLong ? tables.longChunks : tables.chunks;
    const uint64 width = isLong ? 8 : 4;
    const uint64 count = reader.be<uint32>(table + kCountAt);
    std::vector<uint64> chunks;
    if (count > kMostSamples || count * width > tables.end - table)
        return chunks;
    for (uint64 at = table + kEntriesAt; chunks.size() < count; at += width)
        chunks.push_back(isLong ? reader.be<uint64>(at) : reader.be<uint32>(at));
    return chunks;
}

/// How many samples each of so many chunks has; none when the table is wrong.
std::vector<uint32> MovieSamples::samplesOf(ContentReader& reader, const Tables& tables,
                                            std::size_t chunks) {
    const uint64 table = tables.samplesOfChunks;
    const uint64 runs = reader.be<uint32>(table + kCountAt);
    std::vector<uint32> samples;
    if (runs * kRunBytes > tables.end - table)
        return samples;
    for (uint64 run = 0; run < runs; ++run) {
        const uint64 at = table + kEntriesAt + run * kRunBytes;
        const uint64 next = run + 1 < runs ? reader.be<uint32>(at + kRunBytes) : chunks + 1;
        if (reader.be<uint32>(at) != samples.size() + 1 || next <= samples.size() ||
            next > chunks + 1)
            return {};
        samples.resize(static_cast<std::size_t>(next - 1), reader.be<uint32>(at + 4));
    }
    return samples;
}

void MovieSamples::takeTrack(ContentReader& reader, const Tables& tables) {
    if (tables.description == 0 || tables.samplesOfChunks == 0 ||
        (tables.chunks == 0 && tables.longChunks == 0) ||
        (tables.sizes == 0 && tables.compactSizes == 0))
        return;
    const Track track = trackOf(reader, tables.description, tables.end);
    const std::size_t before = samples_.size();
    if (takeSamples(reader, tables, track.coding != Coding::Unknown))
        tracks_.push_back(track);
    else
        samples_.resize(before);
}

/// Takes the samples of a track, and where they lie of one that cannot be checked; false when its
/// tables are wrong.
bool MovieSamples::takeSamples(ContentReader& reader, const Tables& tables, bool keeps) {
    const bool isCompact = tables.sizes == 0;
    const uint64 table = isCompact ? tables.compactSizes : tables.sizes;
    const uint64 sameSize = isCompact ? 0 : reader.be<uint32>(table + kCountAt);
    const uint64 bits = isCompact ? reader.byte(table + kSizeBitsAt) : 32U;
    const uint64 count = reader.be<uint32>(table + kSizeCountAt);
    if ((bits != 8 && bits != 16 && bits != 32) ||
        (sameSize == 0 && count * bits / 8 > tables.end - table))
        return false;
    keeps = keeps && sameSize == 0 && samples_.size() + count <= kMostSamples;
    const auto sizeOf = [&](uint64 sample) -> uint32 {
        const uint64 at = table + kSizesAt + sample * bits / 8;
        return bits == 32 ? reader.be<uint32>(at)
                          : (bits == 16 ? reader.be<uint16>(at) : reader.byte(at));
    };
    const std::vector<uint64> chunks = chunksOf(reader, tables);
    const std::vector<uint32> perChunk = samplesOf(reader, tables, chunks.size());
    if (perChunk.size() != chunks.size())
        return false;
    const auto number = static_cast<uint32>(tracks_.size());
    uint64 sample = 0;
    for (std::size_t chunk = 0; chunk < chunks.size(); ++chunk) {
        uint64 offset = chunks[chunk];
        const uint64 last = sample + std::min<uint64>(perChunk[chunk], count - sample);
        if (offset > UINT64_MAX / 4)
            return false;
        if (last > sample)
            begin_ = end_ == 0 ? offset : std::min(begin_, offset);
        if (sameSize != 0) {
            offset += (last - sample) * sameSize;
            sample = last;
        }
        for (; sample < last; ++sample) {
            const uint32 bytes = sizeOf(sample);
            if (bytes > kLargestSample)
                return false;
            if (keeps && bytes > 0)
                samples_.push_back({offset, bytes, number});
            offset += bytes;
        }
        end_ = std::max(end_, offset);
    }
    return true;
}

void MovieSamples::prepare(ContentReader& reader) {
    std::ranges::sort(samples_, {}, &Sample::offset);
    // No two share a byte, which bounds the time that it takes to look at all of them.
    uint64 end = 0;
    std::erase_if(samples_, [&end](const Sample& sample) {
        const bool isShared = sample.offset < end;
        end = std::max(end, sample.end());
        return isShared;
    });
    learn(reader);
}

void MovieSamples::learn(ContentReader& reader) {
    constexpr std::size_t kLooked = 8;
    constexpr std::size_t kAlike = 6;

    struct Seen {
        std::size_t count = 0;
        std::map<uint8, std::size_t> counts;
    };

    std::vector<Seen> seen(tracks_.size());
    for (const Sample& sample : samples_) {
        Seen& one = seen[sample.track];
        if (tracks_[sample.track].coding != Coding::Sound || one.count == kLooked ||
            !reader.has(sample.offset, 1))
            continue;
        ++one.count;
        ++one.counts[static_cast<uint8>(reader.byte(sample.offset) & 0xFE)];
    }
    for (std::size_t i = 0; i < tracks_.size(); ++i) {
        for (const auto& [byte, count] : seen[i].counts) {
            if (count >= kAlike) {
                tracks_[i].firstByte = byte;
                tracks_[i].isLearnt = true;
            }
        }
    }
}

MovieSamples::Answer MovieSamples::check(ContentReader& reader, const Sample& sample,
                                         uint64& toldAt) const {
    const Track& track = tracks_[sample.track];
    toldAt = sample.offset + 1;
    if (!reader.has(sample.offset, sample.bytes)) {
        toldAt = reader.size();
        return Answer::No;
    }
    switch (track.coding) {
    case Coding::Jpeg:
        return reader.matches(sample.offset, "\xFF\xD8"sv) ? Answer::Yes : Answer::No;
    case Coding::Sound:
        if (!track.isLearnt)
            return Answer::CannotTell;
        return (reader.byte(sample.offset) & 0xFE) == track.firstByte ? Answer::Yes : Answer::No;
    case Coding::Nal264:
    case Coding::Nal265:
        return checkUnits(reader, sample, track, toldAt);
    case Coding::Unknown:
        break;
    }
    return Answer::CannotTell;
}

/// Units, each behind its length, fill a sample of a picture; zeros may fill it up.
MovieSamples::Answer MovieSamples::checkUnits(ContentReader& reader, const Sample& sample,
                                              const Track& track, uint64& toldAt) {
    constexpr uint64 kHeaderBytes = 2;
    uint64 at = sample.offset;
    while (sample.end() - at > track.lengthBytes) {
        uint64 length = 0;
        for (uint8 i = 0; i < track.lengthBytes; ++i)
            length = length << 8 | reader.byte(at + i);
        const uint64 unit = at + track.lengthBytes;
        toldAt = unit + kHeaderBytes;
        if (length == 0)
            break;
        if (length > sample.end() - unit || length < kHeaderBytes)
            return Answer::No;
        const auto header = reader.bytes(unit, kHeaderBytes);
        const bool isUnit =
            track.coding == Coding::Nal264 ? isUnit264(header[0]) : isUnit265(header[0], header[1]);
        if (!isUnit)
            return Answer::No;
        at = unit + length;
    }
    return reader.zerosEnd(at, sample.end()) == sample.end() ? Answer::Yes : Answer::No;
}

MovieSamples::Walk MovieSamples::walkAll(ContentReader& reader) const {
    constexpr std::size_t kMostLooked = 8192;
    const Walk walk =
        walkSome(reader, 0, UINT64_MAX, UINT64_MAX, samples_.size() / kMostLooked + 1);
    // Where exactly it breaks is told by all of those around.
    return walk.isSound ? walk : this->walk(reader, walk.sound);
}

MovieSamples::Walk MovieSamples::walkSome(ContentReader& reader, uint64 from, uint64 to,
                                          uint64 enough, std::size_t step) const {
    constexpr uint64 kPicturePoints = 4; ///< A length that fits is hardly ever an accident.
    constexpr uint64 kWrong = 8;         ///< As many points against it are no damage of a sample.
    constexpr uint64 kRight = 3;         ///< As many for it make up for what did not fit before.
    constexpr uint32 kSmallSound = 1024; ///< A larger sample needs others behind it to be sure.
    Walk walk;
    walk.sound = from;
    uint64 against = 0;
    uint64 pointsSince = 0;
    std::array<uint64, kRight> recent{}; // Up to where the last samples that fit told it.
    std::size_t fitting = 0;
    // No sample that begins later ends earlier, as they do not overlap.
    const auto first = std::ranges::partition_point(
        samples_, [from](const Sample& sample) { return sample.end() <= from; });
    for (auto i = static_cast<std::size_t>(first - samples_.begin());
         i < samples_.size() && samples_[i].end() <= to && walk.points < enough; i += step) {
        uint64 toldAt = 0;
        const Answer answer = check(reader, samples_[i], toldAt);
        const bool isSound = tracks_[samples_[i].track].coding == Coding::Sound;
        const uint64 points = isSound ? 1 : kPicturePoints;
        if (answer == Answer::No) {
            if (walk.isSound)
                walk.wrongAt = toldAt;
            walk.isSound = false;
            pointsSince = 0;
            against += points;
            if (against >= kWrong)
                break;
        } else if (answer == Answer::Yes) {
            pointsSince += points;
            if (toldAt > from)
                walk.points += points;
            if (walk.isSound || pointsSince >= kRight) {
                const bool isSure = !isSound || samples_[i].bytes <= kSmallSound;
                uint64& before = recent[fitting++ % recent.size()];
                walk.isSound = true;
                walk.sound = std::max(walk.sound, isSure ? toldAt : before);
                before = toldAt;
                against = 0;
            }
        }
    }
    return walk;
}

} // namespace kova
