#pragma once
#include <array>
#include <cstdint>

// Linear light in sRGB's primaries and how sRGB (IEC 61966-2-1) encodes it, by tables that conversions share.
namespace zel {

using ColorMatrix = std::array<std::array<double, 3>, 3>;

ColorMatrix product(const ColorMatrix& left, const ColorMatrix& right);

/// From CIE XYZ relative to D50 (white 0.9642, 1, 0.8249) to the light of sRGB's primaries.
const ColorMatrix& xyzToLinearSrgb();

/// Light, full = `steps8`, to the nearest byte of sRGB. A step is a fifth of a byte's where sRGB is steepest.
inline constexpr int steps8 = 16383;
const std::uint8_t* srgbBytes();

/// The same for 16 bits: points that `srgbWord` interpolates between.
inline constexpr int steps16 = 65536 << 7;
const float* srgbWords();

/// `light` must be within 0...steps16.
inline std::uint16_t srgbWord(const float* table, int light)
{
    constexpr int fractionBits = 7;
    const int step = light >> fractionBits;
    const float below = table[step], above = table[step + 1];
    const float fraction = static_cast<float>(light & ((1 << fractionBits) - 1)) / (1 << fractionBits);
    return static_cast<std::uint16_t>(below + (above - below) * fraction + 0.5F);
}

} // namespace zel
