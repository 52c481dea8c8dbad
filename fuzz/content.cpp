#include "engine/content/ContentKinds.h"
#include "engine/content/MemorySource.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>

/// Any bytes as a file of every kind that they may begin: no kind may claim more than there is.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::span<const uint8_t> bytes(data, size);
    static_cast<void>(kova::recognise(bytes.first(std::min<size_t>(size, 4096))));
    for (const kova::ContentKind* kind : kova::contentKinds()) {
        static_cast<void>(kind->mayContinue(bytes, 0));
        if (kind->begins(bytes) == kova::Certainty::No)
            continue;
        kova::MemorySource source(bytes);
        const kova::MeasuredContent measured = kind->measure(source);
        if (measured.length > size || measured.type == nullptr)
            std::abort();
    }
    return 0;
}
