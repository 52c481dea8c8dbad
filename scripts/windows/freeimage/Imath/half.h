#pragma once

#include <cmath>

/// A floating-point number of 16 bits (sign, 5 bits of exponent, 10 of fraction), as far as reading
/// TIFF needs it.
class half {
public:
    void setBits(unsigned short bits) { bits_ = bits; }

    operator float() const {
        const int exponent = (bits_ >> 10) & 0x1F;
        const float fraction = static_cast<float>(bits_ & 0x3FF);
        float magnitude = 0;
        if (exponent == 0)
            magnitude = std::ldexp(fraction, -24);
        else if (exponent == 0x1F)
            magnitude = fraction == 0 ? INFINITY : NAN;
        else
            magnitude = std::ldexp(fraction + 1024, exponent - 25);
        return (bits_ & 0x8000) != 0 ? -magnitude : magnitude;
    }

private:
    unsigned short bits_ = 0;
};
