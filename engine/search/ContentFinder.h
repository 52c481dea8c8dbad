#pragma once

#include "engine/content/ContentKinds.h"
#include "engine/search/BlockFinder.h"

#include <vector>

namespace kova {

/// Finds the places at which files of known kinds may begin.
class ContentFinder : public BlockFinder {
public:
    struct Start {
        uint64 position = 0; ///< Byte on the media.
        const ContentKind* kind = nullptr;
        Certainty certainty = Certainty::No;
    };

    void look(uint64 position, std::span<const uint8> bytes, std::size_t fresh) override;

    [[nodiscard]] std::wstring name() const override { return L"beginnings of files"; }

    [[nodiscard]] uint64 found() const override { return count_; }

    /// The starts found since the last call, in the order of the media. Not while it looks.
    [[nodiscard]] std::vector<Start> take();

private:
    std::vector<Start> starts_;
    uint64 count_ = 0;
};

} // namespace kova
