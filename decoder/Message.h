#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

/// What goes between a program and the process that decodes a file for it, on one machine:
/// messages, each a Header and the bytes that it announces. The process says Ready once it is shut
/// in, and is given the File. What is said next is in picture/PictureMessage.h and
/// sound/SoundMessage.h.
namespace decoder {

enum class Kind : std::uint32_t {
    Ready = 0x4F52, ///< Empty.
    File,           ///< All of its bytes.
    Picture,        ///< A PictureMessage.
    Pixels,         ///< Those of the picture.
    Sound,          ///< A SoundFormat.
    Request,        ///< A SoundRequest.
    Samples,        ///< The answer to a request.
};

struct Header {
    Kind kind;
    std::uint32_t length; ///< Bytes that follow.
};

/// The largest file that is decoded, in bytes.
inline constexpr std::size_t kMostFileBytes = std::size_t{64} << 20;

/// A structure as it is sent.
template <class Structure>
using Bytes = std::array<std::uint8_t, sizeof(Structure)>;

template <class Structure>
[[nodiscard]] Bytes<Structure> bytesOf(const Structure& structure) {
    return std::bit_cast<Bytes<Structure>>(structure);
}

} // namespace decoder
