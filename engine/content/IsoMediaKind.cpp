#include "engine/content/ContentText.h"
#include "engine/content/ContentTrace.h"
#include "engine/content/MovieSamples.h"
#include "engine/content/kinds.h"

#include <algorithm>
#include <array>

namespace kova {

namespace {

using namespace std::string_view_literals;

constexpr ContentType kTypes[] = {
    {L"MP4", L"mp4", ContentGroup::Videos},     {L"MOV", L"mov", ContentGroup::Videos},
    {L"3GP", L"3gp", ContentGroup::Videos},     {L"M4A", L"m4a", ContentGroup::Sounds},
    {L"HEIC", L"heic", ContentGroup::Pictures}, {L"AVIF", L"avif", ContentGroup::Pictures},
    {L"CR3", L"cr3", ContentGroup::Pictures}};

enum Type { Mp4, Mov, ThreeGp, M4a, Heic, Avif, Cr3 };

struct Brand {
    std::string_view name;
    Type type;
};

constexpr Brand kBrands[] = {{"qt  ", Mov},  {"3g", ThreeGp}, {"M4A ", M4a},  {"M4B ", M4a},
                             {"heic", Heic}, {"heix", Heic},  {"hevc", Heic}, {"mif1", Heic},
                             {"msf1", Heic}, {"avif", Avif},  {"avis", Avif}, {"crx ", Cr3}};

/// Boxes that stand by themselves in a file.
constexpr std::string_view kBoxes[] = {
    "ftyp", "moov", "mdat", "free", "skip", "wide", "uuid", "meta", "moof", "mfra", "styp", "sidx",
    "ssix", "prft", "emsg", "pdin", "udta", "pnot", "PICT", "junk", "mpvd", "sefd", "thmb", "inst"};
/// Those with which a file without a type may begin: as QuickTime wrote them.
constexpr std::string_view kFirstBoxes[] = {"moov", "mdat", "wide", "pnot", "free", "skip"};

constexpr uint64 kHeader = 8;
constexpr uint64 kLargeHeader = 16;

/// A box: its size (4 bytes, big-endian; 1: it follows the type in 8 bytes) and its type.
struct Box {
    uint64 data = 0;
    uint64 end = 0; ///< 0: it reaches to the end of the file.
    std::string type;
};

Box boxAt(ContentReader& reader, uint64 at) {
    Box box;
    uint64 size = reader.be<uint32>(at);
    box.type = reader.text(at + 4, 4);
    box.data = at + kHeader;
    if (size == 1) {
        size = reader.be<uint64>(at + kHeader);
        box.data = at + kLargeHeader;
    }
    box.end = size == 0 || size > reader.size() - at ? 0 : at + size;
    return box;
}

bool isOneOf(std::string_view type, std::span<const std::string_view> types) {
    return std::find(types.begin(), types.end(), type) != types.end();
}

/// What the boxes inside "moov" say about the samples.
class Movie {
public:
    explicit Movie(ContentReader& reader) : reader_(reader) {}

    /// Goes into the boxes between two offsets.
    void take(uint64 at, uint64 end, int depth = 0) {
        constexpr std::array<std::string_view, 5> kContainers{"trak", "mdia", "minf", "stbl",
                                                              "edts"};
        constexpr int kDeepest = 8;
        while (at + kHeader <= end && depth < kDeepest) {
            const Box box = boxAt(reader_, at);
            if (box.end <= at || box.end > end)
                return;
            if (isOneOf(box.type, kContainers))
                take(box.data, box.end, depth + 1);
            else if (box.type == "mvhd")
                takeHeader(box);
            else if (box.type == "stco")
                takeOffsets(box, 4);
            else if (box.type == "co64")
                takeOffsets(box, 8);
            at = box.end;
        }
    }

    [[nodiscard]] int64 date() const { return date_; }

    /// Offset of the chunk of samples that begins last.
    [[nodiscard]] uint64 lastChunk() const { return lastChunk_; }

private:
    void takeHeader(const Box& box) {
        // Seconds since 1904, in 4 bytes, or 8 in version 1.
        constexpr int64 kSecondsFrom1904To1970 = 2'082'844'800;
        const bool isLong = reader_.byte(box.data) == 1;
        const uint64 made =
            isLong ? reader_.be<uint64>(box.data + 4) : reader_.be<uint32>(box.data + 4);
        if (made < uint64{1} << 40)
            date_ = text::timeFromUnix(static_cast<int64>(made) - kSecondsFrom1904To1970);
    }

    void takeOffsets(const Box& box, uint64 width) {
        const uint64 count = reader_.be<uint32>(box.data + 4);
        const uint64 first = box.data + 8;
        if (count == 0 || count > (box.end - std::min(box.end, first)) / width)
            return;
        const uint64 at = first + (count - 1) * width;
        lastChunk_ = std::max(lastChunk_,
                              width == 4 ? uint64{reader_.be<uint32>(at)} : reader_.be<uint64>(at));
    }

    ContentReader& reader_;
    int64 date_ = 0;
    uint64 lastChunk_ = 0;
};

/// A movie whose samples are known, up to a byte.
class MovieTrace : public ContentTrace {
public:
    MovieTrace(std::shared_ptr<const MovieSamples> samples, uint64 offset)
        : samples_(std::move(samples)), offset_(offset) {}

    std::unique_ptr<ContentTrace> upTo(ContentReader& reader, uint64 offset) const override {
        const bool isSound = samples_->walk(reader, offset_, offset).isSound;
        return isSound ? std::make_unique<MovieTrace>(samples_, offset) : nullptr;
    }

    bool goesOn(ContentReader& reader) const override {
        const auto walk = samples_->walk(reader, offset_, UINT64_MAX, MovieSamples::kSure);
        return walk.isSound && walk.points > 0;
    }

    void follow(ContentReader& reader, MeasuredContent& found) const override {
        const auto walk = samples_->walk(reader, offset_);
        if (walk.isSound)
            found.endsAt(samples_->end());
        else
            found.breaks(walk.sound, walk.wrongAt);
    }

    bool tellsExactly() const override { return false; }

private:
    std::shared_ptr<const MovieSamples> samples_;
    uint64 offset_;
};

/// Nothing when its samples cannot be checked.
std::unique_ptr<ContentTrace> traceOf(ContentReader& reader,
                                      const std::shared_ptr<MovieSamples>& samples) {
    samples->prepare(reader);
    return samples->canCheck() ? std::make_unique<MovieTrace>(samples, 0) : nullptr;
}

/// The first of the boxes in a row that has a type; its end is 0 when there is none.
Box firstBox(ContentReader& reader, std::string_view type, std::string_view notBehind) {
    for (uint64 at = 0; reader.has(at, kHeader);) {
        Box box = boxAt(reader, at);
        if (box.type == type)
            return box;
        if (box.type == notBehind || box.end < box.data || !isOneOf(box.type, kBoxes))
            break;
        at = box.end;
    }
    return {};
}

class IsoMediaKind : public ContentKind {
public:
    std::span<const ContentType> types() const override { return kTypes; }

    std::string_view firstBytes() const override { return "\0"sv; }

    Certainty begins(std::span<const uint8> first) const override {
        if (first.size() < kLargeHeader || first[0] != 0)
            return Certainty::No;
        if (liesAt(first, 4, "ftyp"))
            return readBe<uint32>(first, 0) >= kLargeHeader ? Certainty::Structure : Certainty::No;
        for (const std::string_view box : kFirstBoxes) {
            if (liesAt(first, 4, box))
                return Certainty::Magic;
        }
        return Certainty::No;
    }

    std::unique_ptr<ContentTrace> trace(ContentReader& reader) const override {
        const Box box = firstBox(reader, "moov", "mdat");
        if (box.end == 0)
            return nullptr;
        const auto samples = std::make_shared<MovieSamples>();
        samples->takeMovie(reader, box.data, box.end);
        return traceOf(reader, samples);
    }

    uint64 tailAt(ContentReader& reader) const override {
        return firstBox(reader, "mdat", "moov").end;
    }

    std::unique_ptr<ContentTrace> traceByTail(ContentReader& reader,
                                              ContentReader& tail) const override {
        const Box data = firstBox(reader, "mdat", "moov");
        if (!tail.matches(4, "moov"))
            return nullptr;
        const Box box = boxAt(tail, 0);
        const auto samples = std::make_shared<MovieSamples>();
        if (box.end < box.data)
            return nullptr;
        samples->takeMovie(tail, box.data, box.end);
        // Its samples fill the data.
        constexpr uint64 kLeft = 4096;
        if (samples->begin() < data.data || samples->begin() > data.data + kLeft ||
            samples->end() > data.end || samples->end() + kLeft < data.end)
            return nullptr;
        return traceOf(reader, samples);
    }

protected:
    void follow(ContentReader& reader, MeasuredContent& found) const override {
        found.type = &kTypes[typeOf(reader)];
        Movie movie(reader);
        MovieSamples samples;
        bool hasMovie = false;
        bool hasData = false;
        uint64 at = 0;
        uint64 dataAt = 0;
        while (reader.has(at, kHeader)) {
            const Box box = boxAt(reader, at);
            // Another file's beginning.
            if (!isOneOf(box.type, kBoxes) || (box.type == "ftyp" && at > 0))
                break;
            // A box of the file that reaches beyond the drive was cut off, or tells nothing.
            if (box.end < box.data) {
                found.breaks(hasData ? dataAt : at, reader.size());
                return followSamples(reader, samples, found);
            }
            if (box.type == "moov") {
                movie.take(box.data, box.end);
                samples.takeMovie(reader, box.data, box.end);
            }
            if (box.type == "mdat" && !hasData)
                dataAt = at;
            hasMovie = hasMovie || box.type == "moov" || box.type == "meta" || box.type == "moof";
            hasData = hasData || box.type == "mdat" || box.type == "moof";
            at = box.end;
        }
        found.date = movie.date();
        // What its boxes do not tell is whose the bytes inside the data are.
        if (!hasMovie || movie.lastChunk() >= at)
            found.breaks(hasData ? dataAt : at, at);
        else
            found.endsAt(at);
        followSamples(reader, samples, found);
    }

private:
    /// Samples that are none say where it breaks.
    static void followSamples(ContentReader& reader, MovieSamples& samples,
                              MeasuredContent& found) {
        samples.prepare(reader);
        if (!samples.canCheck())
            return;
        const auto walk = samples.walkAll(reader);
        if (!walk.isSound)
            found.breaks(walk.sound, walk.wrongAt);
        else if (found.state == ContentState::Incomplete)
            found.breaks(std::clamp(walk.sound, found.length, found.breaksAt), found.breaksAt);
    }

    static Type typeOf(ContentReader& reader) {
        if (!reader.matches(4, "ftyp"))
            return Mov;
        for (const Brand& brand : kBrands) {
            if (reader.matches(kHeader, brand.name))
                return brand.type;
        }
        return Mp4;
    }
};

} // namespace

const ContentKind& isoMediaKind() {
    static const IsoMediaKind kind;
    return kind;
}

} // namespace kova
