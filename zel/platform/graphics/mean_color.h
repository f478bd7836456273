#pragma once
#include <zel/export.h>
#include <zel/platform/graphics/cg_image.h>

#include <array>

namespace zel {

/// The mean colour over every pixel: red, green, blue, alpha, 0...255, in sRGB. Colours are weighted by alpha, and 0
/// where all is clear. Absent with the reason noted where the picture does not decode. Cost: one decoding of
/// every pixel, without keeping them.
ZEL_API std::optional<std::array<double, 4>> meanColor(const CGImage& image);

/// The mean colours over the cells of a grid that is laid over the upright picture, row after row from the top: red,
/// green, blue, alpha, 0...255, in sRGB, colours premultiplied. Exact: a pixel on the border of cells counts for each
/// by the part that lies in it. Empty with the reason noted: a side below 1, too large a grid, a picture that does not
/// decode. Cost: one decoding of every pixel, without keeping them.
ZEL_API std::vector<std::array<double, 4>> meanGrid(const CGImage& image, int columns, int rows);

} // namespace zel
