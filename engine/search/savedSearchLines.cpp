#include "engine/search/savedSearchLines.h"

#include "engine/content/ContentKinds.h"
#include "engine/search/BlockFinder.h"
#include "format/JsonLine.h"
#include "format/JsonObject.h"

#include <zlib.h>

#include <algorithm>
#include <array>
#include <limits>
#include <span>
#include <string>
#include <utility>

namespace kova {

namespace {

using format::JsonLine;
using format::JsonObject;
using Start = ContentFinder::Start;
using Broken = ContentProgress::Broken;

constexpr std::string_view kFormat = "Orvane search";
constexpr uint64 kVersion = 1;
/// Numbers of a list that goes on in another line.
constexpr std::size_t kNumbersInLine = 512;

constexpr const char* kFound = "found";
constexpr const char* kFile = "file"; ///< What `SavedSearch::files` holds.

struct CertaintyName {
    Certainty certainty;
    std::wstring_view name;
};

constexpr std::array<CertaintyName, 3> kCertainties = {{{Certainty::Weak, L"weak"},
                                                        {Certainty::Magic, L"magic"},
                                                        {Certainty::Structure, L"structure"}}};

std::wstring_view nameOf(Certainty certainty) {
    for (const CertaintyName& one : kCertainties) {
        if (one.certainty == certainty)
            return one.name;
    }
    return {};
}

std::optional<Certainty> certaintyOf(std::wstring_view name) {
    for (const CertaintyName& one : kCertainties) {
        if (one.name == name)
            return one.certainty;
    }
    return std::nullopt;
}

/// No two types have the same.
std::wstring keyOf(const ContentType& type) {
    return std::wstring(type.name) + L'.' + type.suffix;
}

const ContentType* typeOf(const std::wstring& key) {
    for (const ContentKind* kind : contentKinds()) {
        for (const ContentType& type : kind->types()) {
            if (keyOf(type) == key)
                return &type;
        }
    }
    return nullptr;
}

/// A kind goes by its first type.
const ContentKind* kindOf(const std::wstring& key) {
    for (const ContentKind* kind : contentKinds()) {
        if (keyOf(kind->types().front()) == key)
            return kind;
    }
    return nullptr;
}

std::vector<uint64> numbersOf(std::span<const ByteRange> ranges) {
    std::vector<uint64> numbers;
    for (const ByteRange& range : ranges)
        numbers.insert(numbers.end(), {range.start, range.length});
    return numbers;
}

/// Writes lines and sums them up.
class Writer {
public:
    explicit Writer(const std::function<void(std::string_view)>& write) : write_(write) {}

    void header(const SavedSearch& search) {
        const SearchedVolume& volume = search.volume;
        const std::array<uint64, 3> clusters = {volume.clusters.start, volume.clusters.bytes,
                                                volume.clusters.count};
        JsonLine line;
        line.add("format", kFormat).add("version", kVersion).add("bytes", volume.bytes);
        line.add("sector", uint64{volume.sectorBytes}).add("clusters", std::span(clusters));
        line.add("boot", uint64{volume.bootCrc}).add("samples", std::span(volume.sampleCrcs));
        line.add("remnants", search.options.remnants).add("content", search.options.content);
        line.add("whole", search.options.whole).add("searched", search.searched);
        line.add("sound", search.content.soundEnd).add("complete", search.files.has_value());
        put(line);
    }

    void remnants(std::span<const ByteRange> ranges) {
        while (!ranges.empty()) {
            const auto some = ranges.first(std::min(ranges.size(), kNumbersInLine / 2));
            put(JsonLine().add("remnants", std::span<const uint64>(numbersOf(some))));
            ranges = ranges.subspan(some.size());
        }
    }

    void finds(const char* key, const std::vector<ContentFind>& finds) {
        for (const ContentFind& find : finds) {
            JsonLine line;
            line.add(key, std::wstring_view(keyOf(*find.content.type)));
            line.add("at", std::span<const uint64>(numbersOf(find.place)));
            line.add("whole", find.content.state == ContentState::Whole);
            line.add("rest", find.mayBeRest);
            addContent(line, find.content);
            put(line);
        }
    }

    void broken(const std::vector<Broken>& all) {
        for (const Broken& one : all) {
            JsonLine line;
            line.add("broken", std::wstring_view(keyOf(one.start.kind->types().front())));
            line.add("certainty", nameOf(one.start.certainty));
            line.add("type", std::wstring_view(keyOf(*one.content.type)));
            line.add("start", one.start.position).add("length", one.content.length);
            line.add("breaks", one.content.breaksAt);
            addContent(line, one.content);
            put(line);
        }
    }

    template <typename Starts>
    void starts(const char* key, const Starts& starts) {
        for (auto begin = starts.begin(); begin != starts.end();) {
            std::vector<uint64> at;
            const Start& first = *begin;
            for (; begin != starts.end() && at.size() < kNumbersInLine &&
                   begin->kind == first.kind && begin->certainty == first.certainty;
                 ++begin)
                at.push_back(begin->position);
            JsonLine line;
            line.add(key, std::wstring_view(keyOf(first.kind->types().front())));
            line.add("certainty", nameOf(first.certainty));
            put(line.add("at", std::span<const uint64>(at)));
        }
    }

    void end() { put(JsonLine().add("end", uint64{crc_})); }

private:
    static void addContent(JsonLine& line, const MeasuredContent& content) {
        line.add("verified", content.verified);
        if (!content.title.empty())
            line.add("title", std::wstring_view(content.title));
        if (content.date != 0)
            line.add("date", content.date);
    }

    void put(const JsonLine& line) {
        const std::string text = line.text() + '\n';
        crc_ = crc32_z(crc_, reinterpret_cast<const Bytef*>(text.data()), text.size());
        write_(text);
    }

    const std::function<void(std::string_view)>& write_;
    uLong crc_ = 0;
};

/// Reads the lines. The generic failure when one is not as it has to be.
class Reader {
public:
    std::optional<SavedSearch> read(std::string_view text) {
        if (text.empty() || text.back() != '\n')
            return std::nullopt;
        const std::size_t last = text.rfind('\n', text.size() - 2) + 1; // 0 with one line only.
        const std::string_view body = text.substr(0, last);
        const uLong crc = crc32_z(0, reinterpret_cast<const Bytef*>(body.data()), body.size());
        if (body.empty() || static_cast<uint64>(number(parse(text.substr(last)), "end")) != crc)
            return std::nullopt;
        for (std::size_t at = 0; at < body.size();) {
            const std::size_t end = body.find('\n', at);
            const JsonObject line = parse(body.substr(at, end - at));
            at == 0 ? takeHeader(line) : takeLine(line);
            at = end + 1;
        }
        return std::move(search_);
    }

private:
    static void require(bool holds) {
        if (!holds)
            fail();
    }

    template <typename T>
    static T required(std::optional<T> value) {
        require(value.has_value());
        return std::move(*value);
    }

    static JsonObject parse(std::string_view line) { return required(JsonObject::parse(line)); }

    /// Not negative.
    static uint64 number(const JsonObject& line, std::string_view key) {
        const int64 value = required(line.number(key));
        require(value >= 0);
        return static_cast<uint64>(value);
    }

    static uint32 smallNumber(const JsonObject& line, std::string_view key) {
        const uint64 value = number(line, key);
        require(value <= std::numeric_limits<uint32>::max());
        return static_cast<uint32>(value);
    }

    void takeHeader(const JsonObject& line) {
        require(line.text("format") == std::wstring(kFormat.begin(), kFormat.end()) &&
                number(line, "version") == kVersion);
        SearchedVolume& volume = search_.volume;
        volume.bytes = number(line, "bytes");
        volume.sectorBytes = smallNumber(line, "sector");
        const auto clusters = required(line.numbers("clusters"));
        require(clusters.size() == 3 && clusters[1] <= std::numeric_limits<uint32>::max());
        volume.clusters = {clusters[0], static_cast<uint32>(clusters[1]), clusters[2]};
        volume.bootCrc = smallNumber(line, "boot");
        volume.sampleCrcs = required(line.numbers("samples"));
        search_.options.remnants = required(line.truth("remnants"));
        search_.options.content = required(line.truth("content"));
        search_.options.whole = required(line.truth("whole"));
        search_.searched = number(line, "searched");
        search_.content.soundEnd = number(line, "sound");
        require(search_.searched <= volume.bytes && search_.content.soundEnd <= volume.bytes);
        if (required(line.truth("complete")))
            search_.files.emplace();
    }

    void takeLine(const JsonObject& line) {
        ContentProgress& content = search_.content;
        if (line.has("remnants"))
            takeRemnants(line);
        else if (line.has(kFound))
            content.finds.push_back(find(line, kFound, foundBytes_));
        else if (line.has(kFile) && search_.files)
            search_.files->push_back(find(line, kFile, fileBytes_));
        else if (line.has("broken"))
            takeBroken(line);
        else if (line.has("weak"))
            takeStarts(line, "weak", content.weak);
        else if (line.has("pending"))
            takeStarts(line, "pending", content.pending);
        else
            fail();
    }

    [[nodiscard]] uint64 aligned(uint64 position) const {
        require(position % BlockFinder::kStep == 0 && position < search_.volume.bytes);
        return position;
    }

    [[nodiscard]] ByteRange range(uint64 start, uint64 length) const {
        require(length > 0 && length <= search_.volume.bytes - aligned(start));
        return {start, length};
    }

    void takeRemnants(const JsonObject& line) {
        const auto numbers = required(line.numbers("remnants"));
        require(numbers.size() % 2 == 0);
        for (std::size_t i = 0; i < numbers.size(); i += 2) {
            const ByteRange one = range(numbers[i], numbers[i + 1]);
            auto& all = search_.remnants;
            require(all.empty() || all.back().end() < one.start);
            all.push_back(one);
        }
    }

    /// `total`: bytes of all finds so far. An image of a disk may be found with what is in it.
    ContentFind find(const JsonObject& line, const char* key, uint64& total) const {
        ContentFind find;
        const auto numbers = required(line.numbers("at"));
        require(!numbers.empty() && numbers.size() % 2 == 0);
        uint64 length = 0;
        for (std::size_t i = 0; i < numbers.size(); i += 2) {
            require(length % BlockFinder::kStep == 0);
            find.place.push_back(range(numbers[i], numbers[i + 1]));
            length += find.place.back().length;
            require(length <= search_.volume.bytes);
        }
        total += length;
        require(total / 2 <= search_.volume.bytes);
        find.content = measured(line, key);
        if (required(line.truth("whole")))
            find.content.endsAt(length);
        else
            find.content.breaks(length, length);
        find.mayBeRest = required(line.truth("rest"));
        return find;
    }

    static MeasuredContent measured(const JsonObject& line, const char* typeKey) {
        MeasuredContent content;
        content.type = typeOf(required(line.text(typeKey)));
        require(content.type != nullptr);
        content.verified = required(line.truth("verified"));
        content.title = line.text("title").value_or(std::wstring());
        content.date = line.number("date").value_or(0);
        return content;
    }

    [[nodiscard]] Start start(const JsonObject& line, const char* kindKey, uint64 position) const {
        Start start;
        start.position = aligned(position);
        start.kind = kindOf(required(line.text(kindKey)));
        start.certainty = required(certaintyOf(required(line.text("certainty"))));
        require(start.kind != nullptr);
        return start;
    }

    void takeBroken(const JsonObject& line) {
        Broken broken;
        broken.start = start(line, "broken", number(line, "start"));
        broken.content = measured(line, "type");
        const uint64 length = number(line, "length");
        const uint64 breaksAt = number(line, "breaks");
        require(length <= breaksAt && breaksAt <= search_.volume.bytes);
        broken.content.breaks(length, breaksAt);
        search_.content.broken.push_back(std::move(broken));
    }

    template <typename Starts>
    void takeStarts(const JsonObject& line, const char* kindKey, Starts& starts) const {
        for (const uint64 position : required(line.numbers("at")))
            starts.push_back(start(line, kindKey, position));
    }

    SavedSearch search_;
    uint64 foundBytes_ = 0;
    uint64 fileBytes_ = 0;
};

} // namespace

void writeLines(const SavedSearch& search, const std::function<void(std::string_view)>& write) {
    Writer writer(write);
    writer.header(search);
    writer.remnants(search.remnants);
    writer.finds(kFound, search.content.finds);
    writer.broken(search.content.broken);
    writer.starts("weak", search.content.weak);
    writer.starts("pending", search.content.pending);
    if (search.files)
        writer.finds(kFile, *search.files);
    writer.end();
}

std::optional<SavedSearch> readLines(std::string_view text) {
    try {
        return Reader().read(text);
    } catch (int) {
        return std::nullopt;
    }
}

} // namespace kova
