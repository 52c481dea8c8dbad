#include "engine/ByteReader.h"

#include <cstring>

namespace kova {

void ByteReader::read(uint64 position, std::span<uint8> bytes) {
    const uint32 sectorBytes = media_.sectorSize();
    const auto skipped = static_cast<std::size_t>(position % sectorBytes);
    const std::size_t sectors = (skipped + bytes.size() + sectorBytes - 1) / sectorBytes;
    sectors_.resize(sectors * sectorBytes);
    media_.seek(position / sectorBytes);
    media_.read(sectors_.data(), static_cast<uint32>(sectors));
    std::memcpy(bytes.data(), sectors_.data() + skipped, bytes.size());
    bytesRead_ += bytes.size();
}

} // namespace kova
