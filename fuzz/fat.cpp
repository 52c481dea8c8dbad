#include "engine/fat/FatGeometry.h"
#include "engine/fat/FatLayout.h"
#include "fuzz/Mutation.h"
#include "fuzz/VolumeRun.h"

#include <algorithm>

namespace {

using namespace kova;
using fuzz::Mutation;

constexpr std::size_t kSector = 512;
constexpr std::size_t kEntry = FatDirectoryEntry::kBytes;

struct Field {
    std::size_t offset;
    std::size_t width;
};

constexpr Field kBootFields[] = {{11, 2}, {13, 1}, {14, 2}, {16, 1}, {17, 2},
                                 {19, 2}, {22, 2}, {32, 4}, {36, 4}, {44, 4}};
constexpr Field kEntryFields[] = {{0, 1},  {0, 8},  {11, 1}, {12, 1}, {16, 2},
                                  {18, 2}, {20, 2}, {24, 2}, {26, 2}, {28, 4}};

/// Whether the bytes look like a directory entry that was written once.
bool looksLikeEntry(std::span<const uint8> image, std::size_t at) {
    const uint8 first = image[at];
    const uint8 attributes = image[at + 11];
    return first != 0 && attributes != 0 && attributes <= 0x3F;
}

/// The byte where directories may begin: behind the first FAT.
std::size_t afterFirstFat(std::span<const uint8> image) {
    const auto reserved = loadLe<uint16>(&image[14]);
    auto fat = uint64{loadLe<uint16>(&image[22])};
    if (fat == 0)
        fat = loadLe<uint32>(&image[36]);
    return static_cast<std::size_t>(
        std::min<uint64>((reserved + fat) * kSector, image.size() - kSector));
}

std::size_t someEntry(Mutation& mutation, std::size_t from) {
    const auto image = mutation.image();
    const std::size_t count = (image.size() - from) / kEntry;
    for (int tries = 0; tries < 2000; ++tries) {
        const std::size_t at = from + mutation.below(count) * kEntry;
        if (looksLikeEntry(image, at))
            return at;
    }
    return from;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    kova::fuzz::runFat({data, size});
    return 0;
}

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t* data, size_t size, size_t maxSize,
                                          unsigned seed) {
    if (size < 4 * kSector)
        return LLVMFuzzerMutate(data, size, maxSize);
    Mutation mutation({data, size}, seed);
    for (std::size_t times = 1 + mutation.below(4); times > 0; --times) {
        const std::size_t behindFat = afterFirstFat({data, size});
        const std::size_t choice = mutation.below(16);
        if (choice == 0) {
            mutation.bytes(0, size);
        } else if (choice == 1) {
            const Field field = kBootFields[mutation.below(std::size(kBootFields))];
            mutation.field(field.offset, field.width);
        } else if (choice < 5) {
            const std::size_t fat = std::size_t{loadLe<uint16>(data + 14)} * kSector;
            if (fat < behindFat)
                mutation.field(fat + mutation.below(std::min<std::size_t>(behindFat - fat, 256)),
                               1 + mutation.below(4));
        } else {
            const std::size_t entry = someEntry(mutation, behindFat);
            if (choice == 5) {
                mutation.copy(entry, someEntry(mutation, behindFat), kEntry);
            } else if (choice == 6) {
                mutation.bytes(entry, kEntry);
            } else {
                const Field field = kEntryFields[mutation.below(std::size(kEntryFields))];
                mutation.field(entry + field.offset, field.width);
            }
        }
    }
    return size;
}
