#include "engine/search/SearchedVolume.h"

#include <zlib.h>

#include <cstddef>
#include <initializer_list>

namespace kova {

namespace {

constexpr uint64 kSamples = 64;
/// Bytes of a boot sector that change while a volume is used: the marks of FAT12 and FAT16, and of
/// FAT32, that it is in use; exFAT's flags and percentage in use.
constexpr std::initializer_list<std::size_t> kChanging = {0x25, 0x41, 0x6A, 0x6B, 0x70};

std::vector<uint8> sectorAt(ZCustomMedia& media, uint64 sector) {
    std::vector<uint8> bytes(media.sectorSize());
    media.seek(sector);
    media.read(bytes.data(), 1);
    return bytes;
}

uint32 crcOf(const std::vector<uint8>& bytes) {
    return static_cast<uint32>(crc32_z(0, bytes.data(), bytes.size()));
}

} // namespace

SearchedVolume SearchedVolume::of(ZCustomMedia& media, const ClusterLayout& clusters) {
    SearchedVolume volume;
    volume.sectorBytes = media.sectorSize();
    volume.bytes = volume.sectorBytes == 0 ? 0 : media.sizeBytes();
    volume.clusters = clusters;
    if (volume.bytes < volume.sectorBytes || volume.bytes == 0)
        return volume;
    std::vector<uint8> boot = sectorAt(media, 0);
    for (const std::size_t at : kChanging) {
        if (at < boot.size())
            boot[at] = 0;
    }
    volume.bootCrc = crcOf(boot);
    const uint64 sectors = volume.bytes / volume.sectorBytes;
    for (uint64 i = 1; i <= kSamples; ++i)
        volume.sampleCrcs.push_back(crcOf(sectorAt(media, sectors / (kSamples + 1) * i)));
    return volume;
}

bool SearchedVolume::isSameAs(const SearchedVolume& other) const {
    if (bytes != other.bytes || sectorBytes != other.sectorBytes || bootCrc != other.bootCrc ||
        clusters.start != other.clusters.start || clusters.bytes != other.clusters.bytes ||
        sampleCrcs.size() != other.sampleCrcs.size())
        return false;
    const uint32 emptyCrc = crcOf(std::vector<uint8>(sectorBytes));
    std::size_t telling = 0;
    std::size_t alike = 0;
    for (std::size_t i = 0; i < sampleCrcs.size(); ++i) {
        if (sampleCrcs[i] == emptyCrc && other.sampleCrcs[i] == emptyCrc)
            continue; // Drives have those in common.
        ++telling;
        alike += sampleCrcs[i] == other.sampleCrcs[i] ? 1U : 0U;
    }
    return 2 * alike >= telling;
}

} // namespace kova
