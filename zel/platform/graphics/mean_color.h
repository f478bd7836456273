#pragma once
#include <zel/export.h>
#include <zel/platform/graphics/cg_image.h>

#include <array>

namespace zel {

/// The mean colour over every pixel: red, green, blue, alpha, 0...255, in sRGB. Colours are weighted by alpha, and 0
/// where all is clear. Absent with the reason noted where the picture does not decode. Cost: one decoding without
/// keeping the pixels; of a JPEG at an eighth of its size, whose pixels are the blocks' means.
ZEL_API std::optional<std::array<double, 4>> meanColor(const CGImage& image);

} // namespace zel
