#include "engine/exfat/ExFatLayout.h"
#include "fuzz/Mutation.h"
#include "fuzz/VolumeRun.h"
#include "tests/support/ExFatBuilder.h"

#include <algorithm>

namespace {

using namespace kova;
using exfat::BootSector;
using exfat::DirectoryEntry;
using fuzz::Mutation;

constexpr std::size_t kSector = 512;
constexpr std::size_t kEntry = DirectoryEntry::kBytes;

struct Field {
    std::size_t offset;
    std::size_t width;
};

constexpr Field kBootFields[] = {{72, 8}, {80, 4},  {84, 4},  {88, 4},  {92, 4},
                                 {96, 4}, {106, 2}, {108, 1}, {109, 1}, {110, 1}};
constexpr Field kFileFields[] = {{0, 1}, {1, 1}, {4, 2}, {8, 4}, {20, 1}, {22, 1}};
constexpr Field kStreamFields[] = {{0, 1}, {1, 1}, {3, 1}, {4, 2}, {8, 8}, {20, 4}, {24, 8}};

/// A sector-aligned search for an entry of this kind; 0 when there is none.
std::size_t someEntry(Mutation& mutation, uint8 kind) {
    const auto image = mutation.image();
    const std::size_t count = image.size() / kEntry;
    const std::size_t start = mutation.below(count);
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t at = (start + i) % count * kEntry;
        const DirectoryEntry entry(&image[at]);
        if (at >= 2 * BootSector::kRegionSectors * kSector && entry.kind() == kind &&
            entry.type() != DirectoryEntry::kEnd)
            return at;
    }
    return 0;
}

/// Makes the checksum of the set right that begins with the file entry at `at`.
void sealSet(std::span<uint8> image, std::size_t at) {
    const std::size_t length =
        std::min((std::size_t{image[at + 1]} + 1) * kEntry, image.size() - at);
    storeLe<uint16>(&image[at + 2], exfat::setChecksum(image.subspan(at, length)));
}

void mutateSet(Mutation& mutation) {
    const auto image = mutation.image();
    const std::size_t at = someEntry(mutation, DirectoryEntry::kFile);
    if (at == 0 || at + 3 * kEntry > image.size())
        return;
    switch (mutation.below(4)) {
    case 0: {
        const Field field = kFileFields[mutation.below(std::size(kFileFields))];
        mutation.field(at + field.offset, field.width);
        break;
    }
    case 1:
        mutation.copy(someEntry(mutation, DirectoryEntry::kFile), at,
                      kEntry * (1 + mutation.below(4)));
        break;
    case 2:
        mutation.bytes(at + 2 * kEntry, kEntry);
        break;
    default: {
        const Field field = kStreamFields[mutation.below(std::size(kStreamFields))];
        mutation.field(at + kEntry + field.offset, field.width);
    }
    }
    if (mutation.below(8) != 0)
        sealSet(image, at);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    kova::fuzz::runExFat({data, size});
    return 0;
}

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t* data, size_t size, size_t maxSize,
                                          unsigned seed) {
    if (size < 64 * kSector)
        return LLVMFuzzerMutate(data, size, maxSize);
    Mutation mutation({data, size}, seed);
    for (std::size_t times = 1 + mutation.below(4); times > 0; --times) {
        const std::size_t choice = mutation.below(16);
        if (choice == 0) {
            mutation.bytes(0, size);
        } else if (choice == 1) {
            const Field field = kBootFields[mutation.below(std::size(kBootFields))];
            mutation.field(field.offset, field.width);
        } else if (choice < 5) {
            const std::size_t fat = std::size_t{loadLe<uint32>(data + 80)} * kSector;
            mutation.field(fat + 4 * mutation.below(64), 4);
        } else if (choice < 7) { // the bitmap and the table of the root directory
            const std::size_t heap = std::size_t{loadLe<uint32>(data + 88)} * kSector;
            mutation.field(heap + mutation.below(64), 1);
        } else if (choice == 7) {
            const std::size_t entry = someEntry(mutation, DirectoryEntry::kBitmap);
            mutation.field(entry + (mutation.below(2) != 0 ? 20 : 24), 4);
        } else {
            mutateSet(mutation);
        }
    }
    if (mutation.below(8) != 0)
        kova::test::sealBootRegion(data, kSector);
    return size;
}
