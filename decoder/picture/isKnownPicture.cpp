#include "decoder/picture/isKnownPicture.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <string_view>

namespace picture {

namespace {

using namespace std::string_view_literals;

struct Signature {
    std::size_t offset;
    std::string_view bytes;
};

constexpr Signature kSignatures[] = {
    {8, "WEBP"sv},
    {8, "AVI "sv},
    {4, "ftyp"sv},             // HEIF, AVIF, MP4, QuickTime
    {4, "moov"sv},             // older QuickTime
    {4, "jP  \r\n\x87\n"sv},   // JPEG 2000
    {0, "\xFF\x4F\xFF\x51"sv}, // its code stream
    {0, "\xFF\x0A"sv},         // JPEG XL's code stream
    {4, "JXL \r\n\x87\n"sv},
    {0, "II\xBC\x01"sv},       // JPEG XR
    {0, "\x76\x2F\x31\x01"sv}, // OpenEXR
    {0, "FUJIFILMCCD-RAW"sv},
    {0, "IIU\0"sv}, // raw, of Panasonic
    {0, "IIRO"sv},  // raw, of Olympus
    {0, "IIRS"sv},
    {0, "MMOR"sv},
    {0, "\0MRM"sv},            // raw, of Minolta
    {6, "HEAPCCDR"sv},         // raw, of Canon's first
    {0, "FOVb"sv},             // raw, of Sigma
    {0, "\x1A\x45\xDF\xA3"sv}, // Matroska, WebM
    {0, "\0\0\x01\xBA"sv},     // MPEG
    {0, "\0\0\x01\xB3"sv},
    {0, "FLV\x01"sv},
    {0, "\x30\x26\xB2\x75\x8E\x66\xCF\x11"sv}, // Windows Media
};

/// Packets of 188 bytes that begin with a sign; cameras put four bytes before each.
bool isTransportStream(std::span<const std::uint8_t> file) {
    constexpr std::uint8_t kSync = 0x47;
    constexpr std::size_t kPacketBytes = 188;
    constexpr std::size_t kPacketsLookedAt = 4;
    for (const std::size_t before : {0U, 4U}) {
        std::size_t packet = 0;
        while (packet < kPacketsLookedAt) {
            const std::size_t at = packet * (before + kPacketBytes) + before;
            if (at >= file.size() || file[at] != kSync)
                break;
            ++packet;
        }
        if (packet == kPacketsLookedAt)
            return true;
    }
    return false;
}

} // namespace

bool isKnownPicture(std::span<const std::uint8_t> file) {
    return isTransportStream(file) ||
           std::any_of(std::begin(kSignatures), std::end(kSignatures), [&](const Signature& kind) {
               return file.size() >= kind.offset + kind.bytes.size() &&
                      std::equal(kind.bytes.begin(), kind.bytes.end(), &file[kind.offset],
                                 [](char known, std::uint8_t byte) {
                                     return static_cast<std::uint8_t>(known) == byte;
                                 });
           });
}

} // namespace picture
