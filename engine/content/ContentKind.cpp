#include "engine/content/ContentKind.h"

#include <cstring>

namespace kova {

Fit ContentKind::mayContinue(std::span<const uint8>, uint64) const {
    return Fit::CannotTell;
}

MeasuredContent ContentKind::measure(ContentSource& source) const {
    ContentReader reader(source);
    MeasuredContent found;
    found.type = &types().front();
    const auto first = reader.some(0, bytesNeeded() > 4096 ? ContentReader::kWindow : 4096);
    if (begins(first) == Certainty::No)
        return found;
    try {
        follow(reader, found);
    } catch (int) {
        found.breaks(reader.size(), reader.size());
    }
    if (found.length > reader.size())
        found.breaks(reader.size(), reader.size());
    return found;
}

bool liesAt(std::span<const uint8> bytes, std::size_t offset, std::string_view what) {
    return bytes.size() >= offset && bytes.size() - offset >= what.size() &&
           std::memcmp(bytes.data() + offset, what.data(), what.size()) == 0;
}

bool startsWith(std::span<const uint8> bytes, std::string_view what) {
    return liesAt(bytes, 0, what);
}

} // namespace kova
