#pragma once

#include "engine/ZCustomMedia.h"

namespace kova {

/// A media seen from another sector on, as a volume that once began there saw it. What lies
/// before the first sector of the media underneath is zero.
class ShiftedMedia : public ZCustomMedia {
public:
    /// `media` is not owned and outlives this; sector 0 is its sector `first`, which may be
    /// negative.
    ShiftedMedia(ZCustomMedia& media, int64 first);

    uint32 read(void* buffer, uint32 sectors) override;
    uint64 position() override;
    bool seek(uint64 sector) override;
    [[nodiscard]] uint64 sizeBytes() const override;

private:
    ZCustomMedia& media_;
    int64 first_;
    uint64 position_ = 0; ///< In sectors of this media.
};

} // namespace kova
