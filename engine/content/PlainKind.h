#pragma once

#include "engine/content/ContentKind.h"

namespace kova {

/// A format of which two functions say all: what files begin with, and how far they reach.
struct PlainFormat {
    std::span<const ContentType> types;
    std::string_view magic; ///< All files begin with it.
    /// As `ContentKind::begins`, asked only where the magic lies and `bytesNeeded` bytes are there.
    Certainty (*begins)(std::span<const uint8> first);
    /// As `ContentKind::follow`.
    void (*follow)(ContentReader& reader, MeasuredContent& found);
    std::size_t bytesNeeded = 16;
};

/// The kind of a format that needs no class of its own.
class PlainKind : public ContentKind {
public:
    /// The format lives as long as the program.
    explicit PlainKind(const PlainFormat& format) : format_(format) {}

    std::span<const ContentType> types() const override { return format_.types; }

    std::string_view firstBytes() const override { return format_.magic.substr(0, 1); }

    std::string_view secondBytes() const override {
        return format_.magic.size() > 1 ? format_.magic.substr(1, 1) : std::string_view{};
    }

    std::size_t bytesNeeded() const override { return format_.bytesNeeded; }

    Certainty begins(std::span<const uint8> first) const override {
        const bool there = startsWith(first, format_.magic) && first.size() >= format_.bytesNeeded;
        return there ? format_.begins(first) : Certainty::No;
    }

protected:
    void follow(ContentReader& reader, MeasuredContent& found) const override {
        format_.follow(reader, found);
    }

private:
    const PlainFormat& format_;
};

/// Structure where it fits.
inline Certainty surely(bool fits) {
    return fits ? Certainty::Structure : Certainty::No;
}

} // namespace kova
