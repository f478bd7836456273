#pragma once
#include <cstddef>
#include <cstdint>

// Colours of JFIF (ITU-T T.871): luma and two colour differences of 8 bits, in the fixed point of 16 bits that libjpeg
// uses, so that what is coded from these samples is what libjpeg codes.
namespace zel::engine {

struct YccRow {
    std::uint8_t* luma;
    std::uint8_t* blue; ///< Cb
    std::uint8_t* red;  ///< Cr
};

/// Brings `pixels` RGBX pixels to luma and colour differences. With R, G, B from 0 to 255, each sum cut off by 2^16:
///   Y  = 19595 R + 38470 G +  7471 B + 2^15
///   Cb = -11059 R - 21709 G + 32768 B + 128 × 2^16 + 2^15 - 1
///   Cr =  32768 R - 27439 G -  5329 B + 128 × 2^16 + 2^15 - 1
/// Exactly `pixels` samples of each row are written.
void toYcc(const std::uint8_t* rgbx, const YccRow& to, std::size_t pixels);
void toYccReference(const std::uint8_t* rgbx, const YccRow& to, std::size_t pixels);

/// Halves two rows in both directions: sample i is (the sum of the four at 2 i and 2 i + 1) + 1 + i mod 2, cut off
/// by 4. The alternating bias leaves flat areas without a drift. `count` samples are written, twice as many of each row
/// read.
void halveRows(const std::uint8_t* upper, const std::uint8_t* lower, std::uint8_t* to, std::size_t count);
void halveRowsReference(const std::uint8_t* upper, const std::uint8_t* lower, std::uint8_t* to, std::size_t count);

} // namespace zel::engine
