#pragma once

#include "engine/LittleEndian.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <random>
#include <span>

extern "C" size_t LLVMFuzzerMutate(uint8_t* data, size_t size, size_t maxSize);

namespace kova::fuzz {

/// Changes fields of on-disk structures in place.
class Mutation {
public:
    Mutation(std::span<uint8> image, unsigned seed) : image_(image), random_(seed) {}

    /// A number below `count`, which is not 0.
    std::size_t below(std::size_t count) { return random_() % count; }

    /// Puts a telling value into the field of `width` bytes at `offset`, if it is inside.
    void field(std::size_t offset, std::size_t width) {
        if (offset > image_.size() || image_.size() - offset < width)
            return;
        uint8* at = image_.data() + offset;
        uint64 value = 0;
        std::memcpy(&value, at, width);
        static constexpr std::array<uint64, 14> kTelling = {0,
                                                            1,
                                                            2,
                                                            0x7F,
                                                            0x80,
                                                            0xFF,
                                                            0x100,
                                                            0x7FFF,
                                                            0xFFFF,
                                                            0x10000,
                                                            0x7FFFFFFF,
                                                            0xFFFFFFFF,
                                                            0x7FFFFFFFFFFFFFFF,
                                                            0xFFFFFFFFFFFFFFFF};
        switch (below(5)) {
        case 0:
            value = kTelling[below(kTelling.size())];
            break;
        case 1:
            value += below(33);
            break;
        case 2:
            value -= below(33);
            break;
        case 3:
            value ^= uint64{1} << below(8 * width);
            break;
        default:
            value = random_();
        }
        std::memcpy(at, &value, width);
    }

    /// Lets the fuzzer change up to `length` bytes at `offset`, keeping their number.
    void bytes(std::size_t offset, std::size_t length) {
        if (offset >= image_.size())
            return;
        length = std::min(length, image_.size() - offset);
        LLVMFuzzerMutate(image_.data() + offset, length, length);
    }

    /// Copies `length` bytes from one place to another, as far as both are inside.
    void copy(std::size_t from, std::size_t to, std::size_t length) {
        if (from < image_.size() && to < image_.size())
            std::memmove(image_.data() + to, image_.data() + from,
                         std::min({length, image_.size() - from, image_.size() - to}));
    }

    [[nodiscard]] std::span<uint8> image() const { return image_; }

private:
    std::span<uint8> image_;
    std::minstd_rand random_;
};

} // namespace kova::fuzz
