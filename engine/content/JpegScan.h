#pragma once

#include "engine/content/ContentReader.h"
#include "engine/content/JpegCodes.h"

#include <array>
#include <optional>
#include <vector>

namespace kova {

/// Follows the coded data of a JPEG picture. Of baseline pictures, which cameras make, it decodes
/// every code, and so knows a foreign byte where it lies; of others it knows markers only.
class JpegScan {
public:
    /// Where the coded data of a scan ended.
    struct End {
        uint64 at = 0;          ///< Of the marker behind it, or of what is wrong.
        bool isSound = false;   ///< It ended with a marker that may stand there.
        bool isDecoded = false; ///< Every code was right, and their number too.
    };

    /// Take what the segments of these markers hold; `at` is the first byte behind the length.
    /// False when that is nonsense.
    [[nodiscard]] bool takeFrame(ContentReader& reader, uint8 marker, uint64 at, uint64 length);
    [[nodiscard]] bool takeTables(ContentReader& reader, uint64 at, uint64 length);

    void takeRestart(ContentReader& reader, uint64 at) { restart_ = reader.be<uint16>(at); }

    /// Follows the data behind the header of a scan, which begins at `header`.
    [[nodiscard]] End follow(ContentReader& reader, uint64 header, uint64 data);

private:
    struct Component {
        uint8 id = 0;
        uint8 across = 1; ///< Blocks of a unit, across and down.
        uint8 down = 1;
        uint8 dcTable = 0;
        uint8 acTable = 0;
    };

    class Bits;

    [[nodiscard]] bool takeScan(ContentReader& reader, uint64 header, std::vector<Component>& scan);
    [[nodiscard]] uint64 unitsOf(const std::vector<Component>& scan) const;
    static bool block(Bits& bits, const JpegCodes& dc, const JpegCodes& ac);
    [[nodiscard]] End followMarkers(ContentReader& reader, uint64 data) const;
    [[nodiscard]] End decode(ContentReader& reader, const std::vector<Component>& scan,
                             uint64 data) const;

    bool isBaseline_ = false;
    uint32 width_ = 0;
    uint32 height_ = 0;
    std::vector<Component> components_;
    std::array<std::optional<JpegCodes>, 4> dcTables_;
    std::array<std::optional<JpegCodes>, 4> acTables_;
    uint32 restart_ = 0; ///< Units between restart markers, 0 for none.
};

} // namespace kova
