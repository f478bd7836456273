#pragma once
#include <array>
#include <cstdint>

namespace zel {

/// Quantisers of the 64 coefficients, row by row; for luma and for the colour differences.
using JpegQuantizers = std::array<std::array<std::uint16_t, 64>, 2>;

/// The per cent by which the standard's tables are scaled at quality 0...1 (not a number counts as 0). At whole numbers
/// of 100 × quality it is libjpeg's (5000 / q below 50, cut off; 200 - 2 q from there), between them it runs straight.
double jpegTableScale(double quality);

/// The tables of ITU-T T.81 annex K at that quality, to the nearest, 1 to 255.
JpegQuantizers jpegQuantizers(double quality);

/// The place in a block, row by row, of the coefficient that is coded as number `index`.
inline constexpr std::array<std::uint8_t, 64> jpegZigzag{
    0,  1,  8,  16, 9,  2,  3,  10, 17, 24, 32, 25, 18, 11, 4,  5,  12, 19, 26, 33, 40, 48,
    41, 34, 27, 20, 13, 6,  7,  14, 21, 28, 35, 42, 49, 56, 57, 50, 43, 36, 29, 22, 15, 23,
    30, 37, 44, 51, 58, 59, 52, 45, 38, 31, 39, 46, 53, 60, 61, 54, 47, 55, 62, 63};

} // namespace zel
