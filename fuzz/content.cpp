#include "engine/content/ContentKinds.h"
#include "engine/content/MemorySource.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>

namespace {

/// Counts what is read: time is to be bounded by the bytes that there are.
class CountedSource : public kova::MemorySource {
public:
    using MemorySource::MemorySource;

    std::size_t read(uint64_t offset, std::span<uint8_t> bytes) override {
        const std::size_t count = MemorySource::read(offset, bytes);
        bytesRead_ += count;
        return count;
    }

    [[nodiscard]] uint64_t bytesRead() const { return bytesRead_; }

private:
    uint64_t bytesRead_ = 0;
};

} // namespace

/// Any bytes as a file of every kind that they may begin: no kind may claim more than there is, nor
/// read it over and over.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    constexpr uint64_t kMostReads = 1024;
    constexpr uint64_t kLeastReads = uint64_t{16} << 20;
    const std::span<const uint8_t> bytes(data, size);
    static_cast<void>(kova::recognise(bytes.first(std::min<size_t>(size, 4096))));
    for (const kova::ContentKind* kind : kova::contentKinds()) {
        static_cast<void>(kind->mayContinue(bytes, 0));
        if (kind->begins(bytes) == kova::Certainty::No)
            continue;
        CountedSource source(bytes);
        const kova::MeasuredContent measured = kind->measure(source);
        if (measured.length > size || measured.type == nullptr ||
            source.bytesRead() > kLeastReads + kMostReads * size)
            std::abort();
    }
    return 0;
}
