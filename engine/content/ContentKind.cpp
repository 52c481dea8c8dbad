#include "engine/content/ContentKind.h"

namespace kova {

Fit ContentKind::mayContinue(std::span<const uint8>, uint64) const {
    return Fit::CannotTell;
}

std::unique_ptr<ContentTrace> ContentKind::trace(ContentReader&) const {
    return nullptr;
}

std::unique_ptr<ContentTrace> ContentKind::traceByTail(ContentReader&, ContentReader&) const {
    return nullptr;
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

} // namespace kova
