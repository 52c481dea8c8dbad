#include "engine/ntfs/NtfsLayout.h"
#include "fuzz/Mutation.h"
#include "fuzz/VolumeRun.h"

#include <algorithm>
#include <cstring>
#include <vector>

namespace {

using namespace kova;
using fuzz::Mutation;

constexpr std::size_t kSector = 512;

struct Field {
    std::size_t offset;
    std::size_t width;
};

constexpr Field kBootFields[] = {{0x0B, 2}, {0x0D, 1}, {0x28, 8}, {0x30, 8}, {0x40, 1}};
constexpr Field kRecordFields[] = {{0x04, 2}, {0x06, 2}, {0x14, 2},
                                   {0x16, 2}, {0x18, 4}, {0x20, 8}};
constexpr Field kAttributeFields[] = {{0x00, 4}, {0x04, 4}, {0x08, 1}, {0x09, 1}, {0x0A, 2},
                                      {0x0C, 2}, {0x0E, 2}, {0x10, 4}, {0x14, 2}, {0x10, 8},
                                      {0x18, 8}, {0x20, 2}, {0x22, 1}, {0x28, 8}, {0x30, 8}};

/// Offsets of all file records in the image.
std::vector<std::size_t> records(std::span<const uint8> image) {
    std::vector<std::size_t> found;
    for (std::size_t at = 0; at + 2 * kSector <= image.size(); at += kSector) {
        if (std::memcmp(&image[at], "FILE", 4) == 0)
            found.push_back(at);
    }
    return found;
}

/// Offsets of the attributes of the record at `record`, as far as they make sense.
std::vector<std::size_t> attributes(std::span<const uint8> image, std::size_t record) {
    std::vector<std::size_t> found;
    std::size_t at = record + loadLe<uint16>(&image[record + ntfs::RecordHeader::kFirstAttribute]);
    while (at + 0x40 < image.size() && at < record + 4096 &&
           loadLe<uint32>(&image[at]) != ntfs::kEndOfAttributes) {
        found.push_back(at);
        const auto length = loadLe<uint32>(&image[at + 4]);
        if (length == 0 || length > 4096)
            break;
        at += length;
    }
    return found;
}

void mutateAttribute(Mutation& mutation, std::size_t at) {
    const auto image = mutation.image();
    const auto length = std::clamp<std::size_t>(loadLe<uint32>(&image[at + 4]), 16, 1024);
    const bool resident = image[at + 8] == 0;
    const std::size_t content = at + loadLe<uint16>(&image[at + (resident ? 0x14 : 0x20)]);
    switch (mutation.below(3)) {
    case 0: {
        const Field field = kAttributeFields[mutation.below(std::size(kAttributeFields))];
        mutation.field(at + field.offset, field.width);
        break;
    }
    case 1: // Values (names, lists, times), or mapping pairs.
        mutation.bytes(content, std::min<std::size_t>(length, 64));
        break;
    default:
        if (content < at + length)
            mutation.field(content + mutation.below(at + length - content), 1 + mutation.below(8));
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    kova::fuzz::runNtfs({data, size});
    return 0;
}

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t* data, size_t size, size_t maxSize,
                                          unsigned seed) {
    if (size < 2 * kSector)
        return LLVMFuzzerMutate(data, size, maxSize);
    Mutation mutation({data, size}, seed);
    const auto found = records({data, size});
    for (std::size_t times = 1 + mutation.below(4); times > 0; --times) {
        const std::size_t choice = mutation.below(20);
        if (choice == 0) {
            mutation.bytes(0, size);
        } else if (choice == 1) {
            const Field field = kBootFields[mutation.below(std::size(kBootFields))];
            mutation.field(field.offset, field.width);
        } else if (!found.empty()) {
            const std::size_t record = found[mutation.below(found.size())];
            if (choice == 2) {
                mutation.copy(record, found[mutation.below(found.size())], 2 * kSector);
            } else if (choice < 6) {
                const Field field = kRecordFields[mutation.below(std::size(kRecordFields))];
                mutation.field(record + field.offset, field.width);
            } else {
                const auto inside = attributes({data, size}, record);
                if (!inside.empty())
                    mutateAttribute(mutation, inside[mutation.below(inside.size())]);
            }
        }
    }
    // A volume that is refused at the door is of no use.
    if (mutation.below(50) != 0) {
        std::memcpy(data + 3, "NTFS", 4);
        storeLe<uint16>(data + ntfs::BootSector::kEndMark, 0xAA55);
    }
    return size;
}
