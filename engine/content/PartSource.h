#pragma once

#include "engine/content/ContentReader.h"

#include <algorithm>

namespace kova {

/// What lies behind a place of another source, for a file inside a file.
class PartSource : public ContentSource {
public:
    /// From byte `start` of the reader's source, which it has. The reader is not owned.
    PartSource(ContentReader& whole, uint64 start) : whole_(whole), start_(start) {}

    [[nodiscard]] uint64 size() const override { return whole_.size() - start_; }

    std::size_t read(uint64 offset, std::span<uint8> bytes) override {
        std::size_t done = 0;
        while (done < bytes.size()) {
            const auto piece = whole_.some(start_ + offset + done, bytes.size() - done);
            if (piece.empty())
                break;
            std::ranges::copy(piece, bytes.begin() + static_cast<std::ptrdiff_t>(done));
            done += piece.size();
        }
        return done;
    }

private:
    ContentReader& whole_;
    uint64 start_;
};

} // namespace kova
