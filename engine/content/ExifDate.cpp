#include "engine/content/ExifDate.h"

#include "engine/content/ContentText.h"
#include "engine/content/TiffDirectory.h"

namespace kova {

namespace {

constexpr uint16 kChanged = 0x0132;
constexpr uint16 kExifDirectory = 0x8769;
constexpr uint16 kTaken = 0x9003;

} // namespace

int64 exifDate(ContentReader& reader, uint64 base) {
    try {
        TiffStructure tiff(reader, base);
        const auto main = tiff.directory(tiff.first());
        if (!main)
            return 0;
        if (const auto* exif = main->find(kExifDirectory)) {
            const auto directory = tiff.directory(tiff.value(*exif, 0));
            const auto* taken = directory ? directory->find(kTaken) : nullptr;
            const int64 time = taken == nullptr ? 0 : text::timeFromDigits(tiff.text(*taken));
            if (time != 0)
                return time;
        }
        const auto* changed = main->find(kChanged);
        return changed == nullptr ? 0 : text::timeFromDigits(tiff.text(*changed));
    } catch (int) {
        return 0;
    }
}

} // namespace kova
