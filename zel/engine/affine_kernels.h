#pragma once
#include <zel/engine/affine.h>
#include <zel/engine/pixels.h>

namespace zel::engine {

/// Neighbouring pixels of one row of the target. Pixel k samples around (u, v) + k × (du, dv), in 2^-32 pixels of the
/// source, 0 being the centre of its first pixel.
struct AffineRun {
    ConstPixels from;
    std::int64_t u = 0, v = 0, du = 0, dv = 0;
    std::uint32_t opacity = 0; ///< as `fixedOpacity` gives it
    Rim rim = Rim::clear;
    Onto onto = Onto::over;
};

/// For each component, in unsigned 16-bit arithmetic: with x and y the upper 16 bits of the fractions of the position
/// and p × 257 the four pixels around it, first columns then rows are mixed as
///   mixed = a × (65535 - w) ÷ 65536, cut off, + b × w ÷ 65536, cut off, w being y, then x.
/// The result goes through the opacity and over the target as in `blendRows`, its v × 257 being the mixed value; to
/// replace is to draw over what is clear.
///
/// Every position has all four pixels inside the source.
void drawAffineInside(const AffineRun& run, std::uint8_t* to, std::size_t count);
/// The same for any position: pixels outside the source are as the rim says.
void drawAffineAnywhere(const AffineRun& run, std::uint8_t* to, std::size_t count);

} // namespace zel::engine
