#include "engine/content/ContentTrace.h"
#include "engine/content/PngStream.h"
#include "engine/content/kinds.h"

#include <algorithm>

namespace kova {

namespace {

using namespace std::string_view_literals;

constexpr ContentType kTypes[] = {{L"PNG", L"png", ContentGroup::Pictures}};

constexpr auto kSignature = "\x89PNG\r\n\x1A\n"sv;
/// A chunk: length of its data (4 bytes), type (4), data, CRC-32 of type and data (4).
constexpr std::size_t kChunkHeader = 8;
constexpr std::size_t kChunkCrc = 4;
constexpr uint32 kMostChunk = 0x7FFFFFFF;

bool isChunkType(std::span<const uint8> type) {
    for (std::size_t i = 0; i < 4; ++i) {
        const int letter = type[i] | 0x20;
        if (letter < 'a' || letter > 'z')
            return false;
    }
    return true;
}

/// Has `stream` take what the reader has up to `end`; false when it is wrong.
bool follow(PngStream& stream, ContentReader& reader, uint64 end) {
    while (stream.at() < end && !stream.isEnded()) {
        const auto bytes = reader.some(stream.at(), end - stream.at());
        if (bytes.empty() || !stream.take(bytes))
            return false;
    }
    return true;
}

class PngTrace : public ContentTrace {
public:
    explicit PngTrace(const PngStream& before) : before_(before) {}

    std::unique_ptr<ContentTrace> upTo(ContentReader& reader, uint64 offset) const override {
        PngStream stream = before_;
        const bool isSound = kova::follow(stream, reader, offset);
        return isSound ? std::make_unique<PngTrace>(stream) : nullptr;
    }

    bool goesOn(ContentReader& reader) const override {
        PngStream stream = before_;
        const uint64 end = std::min(reader.size(), before_.at() + kMostBytes);
        const std::size_t sure = before_.rows().sureRows();
        const uint64 enough = sure == 0 ? UINT64_MAX : before_.rows().begun() + sure + 1;
        while (stream.at() < end && !stream.isEnded() && stream.rows().begun() < enough) {
            if (!kova::follow(stream, reader, std::min(stream.at() + kStep, end)))
                return false;
        }
        return true;
    }

    void follow(ContentReader& reader, MeasuredContent& found) const override {
        PngStream stream = before_;
        kova::follow(stream, reader, reader.size());
        if (stream.isEnded())
            found.endsAt(stream.at());
        else
            found.breaks(stream.sound(), stream.at());
    }

private:
    static constexpr uint64 kStep = 4096;
    static constexpr uint64 kMostBytes = 64 * kStep;

    PngStream before_;
};

class PngKind : public ContentKind {
public:
    std::span<const ContentType> types() const override { return kTypes; }

    std::string_view firstBytes() const override { return "\x89"; }

    Certainty begins(std::span<const uint8> first) const override {
        if (!startsWith(first, kSignature))
            return Certainty::No;
        if (first.size() < kSignature.size() + kChunkHeader)
            return Certainty::Magic;
        const bool header = liesAt(first, kSignature.size(), "\0\0\0\x0DIHDR"sv);
        return header ? Certainty::Structure : Certainty::No;
    }

    std::unique_ptr<ContentTrace> trace(ContentReader&) const override {
        return std::make_unique<PngTrace>(PngStream());
    }

protected:
    void follow(ContentReader& reader, MeasuredContent& found) const override {
        found.verified = true;
        uint64 at = kSignature.size();
        while (true) {
            const auto length = reader.be<uint32>(at);
            if (length > kMostChunk || !isChunkType(reader.bytes(at + 4, 4)))
                return found.breaks(at, at);
            const uint64 crcAt = at + kChunkHeader + length;
            // A chunk that leaves the source still fits, as far as it goes.
            if (!reader.has(crcAt, kChunkCrc))
                return locate(reader, found, at, reader.size());
            const bool last = reader.matches(at + 4, "IEND");
            if (reader.crc32(at + 4, 4 + uint64{length}) != reader.be<uint32>(crcAt))
                return locate(reader, found, at, crcAt + kChunkCrc);
            at = crcAt + kChunkCrc;
            if (last)
                return found.endsAt(at);
        }
    }

private:
    /// Says where a chunk that begins at `at` and is found out to be wrong at `wrongAt` breaks.
    static void locate(ContentReader& reader, MeasuredContent& found, uint64 at, uint64 wrongAt) {
        PngStream stream;
        kova::follow(stream, reader, wrongAt);
        found.breaks(std::max(at, stream.sound()), std::max(at, stream.at()));
    }
};

} // namespace

const ContentKind& pngKind() {
    static const PngKind kind;
    return kind;
}

} // namespace kova
