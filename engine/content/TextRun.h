#pragma once

#include "engine/content/ContentKind.h"

namespace kova {

/// Characters in a row.
struct TextRun {
    uint64 end = 0; ///< Offset behind its last character; cut to whole lines if no zero ends it.
    /// Zeros to the end of the sector follow, as behind a file, or nothing at all: without them
    /// the text goes on elsewhere, or is a part of something that is no text.
    bool isPadded = false;

    /// Says so in `found`: only a padded text has its end.
    void tell(MeasuredContent& found) const {
        if (isPadded)
            found.endsAt(end);
        else
            found.breaks(end, end);
    }
};

/// How far there is nothing but text from the source's beginning on: characters of UTF-8, of a
/// one-byte encoding if there was none of UTF-8's own, or of UTF-16 behind a byte-order mark.
/// Zeros are no text. Other bytes that are none begin something else, which may begin with
/// characters by accident: then the text ends with its last line break, if it has any.
[[nodiscard]] TextRun textRun(ContentReader& reader);

/// Whether a block may begin a text, or lie in one (`inside`, where its first bytes may end a
/// character): text, then nothing but zeros.
[[nodiscard]] bool isText(std::span<const uint8> block, bool inside);

/// Bytes of the byte-order mark of UTF-8 that `first` begins with.
[[nodiscard]] std::size_t markBytes(std::span<const uint8> first);

/// Reads a source as characters of a byte each. After anything else has been read from the
/// source, `moveTo` sets it up again.
class CharacterReader {
public:
    CharacterReader(ContentReader& reader, uint64 at) : reader_(reader), at_(at) {}

    /// The next byte, -1 at the source's end.
    int next() {
        if (used_ == view_.size()) {
            view_ = reader_.some(at_);
            used_ = 0;
            if (view_.empty())
                return -1;
        }
        ++at_;
        return view_[used_++];
    }

    void moveTo(uint64 at) {
        at_ = at;
        view_ = {};
        used_ = 0;
    }

    /// Offset of the byte that `next` will give.
    [[nodiscard]] uint64 at() const { return at_; }

private:
    ContentReader& reader_;
    uint64 at_;
    std::span<const uint8> view_;
    std::size_t used_ = 0;
};

} // namespace kova
