#pragma once

#include "engine/content/ContentReader.h"
#include "engine/content/ContentTrace.h"
#include "engine/content/ContentType.h"

#include <cstring>
#include <memory>
#include <string>
#include <string_view>

namespace kova {

/// How sure it is that bytes begin a file of a kind.
enum class Certainty {
    No,
    Weak,     ///< A byte or two, or nothing but characters: much else begins so.
    Magic,    ///< A magic number that hardly anything else begins with.
    Structure ///< Fields beyond the magic agree with each other.
};

/// An answer from content.
enum class Fit { No, Yes, CannotTell };

/// How far a file's structure reaches.
enum class ContentState {
    NotThis,    ///< No file of the kind begins here.
    Incomplete, ///< It begins here, and breaks.
    Whole
};

/// What the structure of a file says about it.
struct MeasuredContent {
    ContentState state = ContentState::NotThis;
    /// Bytes of the file. When it breaks, as many as fit its structure for sure.
    uint64 length = 0;
    /// Offset at which it was found out that the file breaks; the first wrong byte lies at
    /// `length` or behind it, before or at this. Equal to `length` for a whole file.
    uint64 breaksAt = 0;
    /// Checksums or codes vouch for the bytes in between, so that a wrong piece would have shown.
    bool verified = false;
    const ContentType* type = nullptr; ///< Never null after `measure`.
    std::wstring title;                ///< A name from inside the file; mostly empty.
    int64 date = 0;                    ///< FILETIME of its making from inside it, 0 for none.

    /// It ends before `end`.
    void endsAt(uint64 end) {
        state = ContentState::Whole;
        length = breaksAt = end;
    }

    /// It fits up to `sound`, and cannot be right at `at`.
    void breaks(uint64 sound, uint64 at) {
        state = ContentState::Incomplete;
        length = sound;
        breaksAt = at;
    }
};

/// A byte in a fixed place of a file.
struct Mark {
    std::size_t offset = 0;
    std::string_view bytes; ///< What it can be.
};

/// A family of file formats that begin alike. Kinds are immutable and live as long as the program;
/// they may be used by several threads at once.
class ContentKind {
public:
    ContentKind() = default;
    ContentKind(const ContentKind&) = delete;
    ContentKind& operator=(const ContentKind&) = delete;
    virtual ~ContentKind() = default;

    /// What files of the kind may turn out to be. The first stands for all until they are measured.
    [[nodiscard]] virtual std::span<const ContentType> types() const = 0;

    /// The first bytes that files of the kind can have; empty when it may be any.
    [[nodiscard]] virtual std::string_view firstBytes() const = 0;

    /// The same of their second bytes.
    [[nodiscard]] virtual std::string_view secondBytes() const { return {}; }

    /// Bytes in fixed places, of which `begins` wants one at least of what it does not refuse;
    /// none for kinds that their first bytes tell well enough.
    [[nodiscard]] virtual std::span<const Mark> marks() const { return {}; }

    /// First bytes that it takes to say that a file is none of the kind.
    [[nodiscard]] virtual std::size_t bytesNeeded() const { return 16; }

    /// Whether the rest of a file may look like a whole one, as it does where parts that begin
    /// alike follow each other and nothing tells how many.
    [[nodiscard]] virtual bool restLooksWhole() const { return false; }

    /// Bytes of the file that lie before what `begins` was given when it was an inner landmark
    /// that was found (a volume descriptor, which lies 32 KiB into an ISO image); 0 for nearly all.
    [[nodiscard]] virtual uint64 landmark(std::span<const uint8>) const { return 0; }

    /// Whether these bytes begin a file of the kind. More of them make it surer; the time it takes
    /// is bounded however many there are.
    [[nodiscard]] virtual Certainty begins(std::span<const uint8> first) const = 0;

    /// Whether a block of a drive may lie `position` bytes into a file of the kind. Cheap: it
    /// looks at nothing but the block.
    [[nodiscard]] virtual Fit mayContinue(std::span<const uint8> block, uint64 position) const;

    /// Follows the structure of the file that begins with the source. Reads at most a small
    /// multiple of the bytes that prove to belong to it.
    [[nodiscard]] MeasuredContent measure(ContentSource& source) const;

    /// What is known of the file that begins with the reader's source before any of it is looked
    /// at; nothing for kinds that cannot tell by a few clusters whether they go on with a file.
    [[nodiscard]] virtual std::unique_ptr<ContentTrace> trace(ContentReader& reader) const;

    /// Where a part of the file lies that tells of all before it, when that much is known by its
    /// beginning; 0 for most.
    [[nodiscard]] virtual uint64 tailAt(ContentReader&) const { return 0; }

    /// As `trace`, with what may be that part: `tail` begins with it. Nothing when it is another
    /// file's.
    [[nodiscard]] virtual std::unique_ptr<ContentTrace> traceByTail(ContentReader& reader,
                                                                    ContentReader& tail) const;

protected:
    /// Says in `found` how far the file reaches. Running out of bytes is the generic failure, what
    /// ends beyond the source is incomplete: neither needs care.
    virtual void follow(ContentReader&, MeasuredContent&) const {}
};

/// Whether `what` lies `offset` bytes into `bytes`. Here, so that what is known when it is compiled
/// is compared without a call: blocks of drives are asked for little else.
[[nodiscard]] inline bool liesAt(std::span<const uint8> bytes, std::size_t offset,
                                 std::string_view what) {
    return bytes.size() >= offset && bytes.size() - offset >= what.size() &&
           std::memcmp(bytes.data() + offset, what.data(), what.size()) == 0;
}

/// Whether `bytes` begin with `what`.
[[nodiscard]] inline bool startsWith(std::span<const uint8> bytes, std::string_view what) {
    return liesAt(bytes, 0, what);
}

} // namespace kova
