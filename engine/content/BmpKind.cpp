#include "engine/content/kinds.h"

#include <algorithm>
#include <array>

namespace kova {

namespace {

constexpr ContentType kTypes[] = {{L"BMP", L"bmp", ContentGroup::Pictures, Filling::Samples}};

/// File header: "BM", bytes of the file (4), zeros (4), offset of the pixels (4). The information
/// header behind it begins with its own length (4).
constexpr std::size_t kFileBytesAt = 2;
constexpr std::size_t kReservedAt = 6;
constexpr std::size_t kPixelsAt = 10;
constexpr std::size_t kInfoAt = 14;
/// Width at 18 and height at 22 (4 bytes, signed), planes at 26, bits a pixel at 28, compression
/// at 30. The oldest header of 12 bytes has 16-bit width and height at 18 and 20, planes at 22.
constexpr std::size_t kWidthAt = 18;
constexpr std::size_t kHeightAt = 22;
constexpr std::size_t kPlanesAt = 26;
constexpr std::size_t kBitsAt = 28;
constexpr std::size_t kCompressionAt = 30;
constexpr std::size_t kImageBytesAt = 34;
constexpr std::size_t kHeaderBytes = 38;
constexpr uint32 kOldInfo = 12;
constexpr std::array<uint32, 7> kInfoBytes = {kOldInfo, 16, 40, 52, 56, 108, 124};
constexpr std::array<uint16, 6> kBits = {1, 4, 8, 16, 24, 32};

/// None, or none with masks for the colours.
constexpr bool isUncompressed(uint32 compression) {
    return compression == 0 || compression == 3;
}

struct BmpHeader {
    uint32 fileBytes;
    uint32 pixelsAt;
    uint64 width;
    uint64 height;
    uint16 planes;
    uint16 bits;
    uint32 compression;
    uint32 imageBytes;

    explicit BmpHeader(std::span<const uint8> b)
        : fileBytes(readLe<uint32>(b, kFileBytesAt)), pixelsAt(readLe<uint32>(b, kPixelsAt)),
          width(readLe<uint32>(b, kWidthAt)), height(readLe<uint32>(b, kHeightAt)),
          planes(readLe<uint16>(b, kPlanesAt)), bits(readLe<uint16>(b, kBitsAt)),
          compression(readLe<uint32>(b, kCompressionAt)),
          imageBytes(readLe<uint32>(b, kImageBytesAt)) {
        if (readLe<uint32>(b, kInfoAt) == kOldInfo) {
            width = readLe<uint16>(b, 18);
            height = readLe<uint16>(b, 20);
            planes = readLe<uint16>(b, 22);
            bits = readLe<uint16>(b, 24);
            compression = imageBytes = 0;
        } else if (height > 0x7FFFFFFF) {
            height = (uint64{1} << 32) - height; // Rows from the top down.
        }
    }

    [[nodiscard]] bool fits() const {
        return planes == 1 && std::ranges::count(kBits, bits) > 0 && width > 0 && height > 0 &&
               width < (1 << 24) && height < (1 << 24) && compression <= 6 &&
               pixelsAt >= kInfoAt + kOldInfo && (fileBytes == 0 || fileBytes > pixelsAt);
    }

    /// Behind the pixels.
    [[nodiscard]] uint64 end() const {
        if (!isUncompressed(compression))
            return uint64{pixelsAt} + imageBytes;
        const uint64 row = (width * bits + 31) / 32 * 4;
        return pixelsAt + row * height;
    }
};

class BmpKind : public ContentKind {
public:
    std::span<const ContentType> types() const override { return kTypes; }

    std::string_view firstBytes() const override { return "B"; }

    std::size_t bytesNeeded() const override { return kHeaderBytes; }

    Certainty begins(std::span<const uint8> first) const override {
        if (!startsWith(first, "BM"))
            return Certainty::No;
        if (first.size() < kHeaderBytes)
            return Certainty::Weak;
        const bool known = std::ranges::count(kInfoBytes, readLe<uint32>(first, kInfoAt)) > 0;
        const bool reserved = readLe<uint32>(first, kReservedAt) == 0;
        return known && reserved && BmpHeader(first).fits() ? Certainty::Structure : Certainty::No;
    }

protected:
    void follow(ContentReader& reader, MeasuredContent& found) const override {
        const BmpHeader header(reader.bytes(0, kHeaderBytes));
        // Writers that do not know the length leave it 0, some forget the colours or the header.
        found.endsAt(std::max<uint64>(header.fileBytes, header.end()));
    }
};

} // namespace

const ContentKind& bmpKind() {
    static const BmpKind kind;
    return kind;
}

} // namespace kova
