#pragma once
#include <zel/platform/filters/point_filters.h>
#include <zel/platform/graphics/cg_image.h>

namespace zel {

/// Whether `drawRows` can read the picture: it is in memory, or its rows are stored as they stand.
bool hasUprightRows(const CGImage& image);

/// Brings the part of the picture that begins at (left, top), which must lie inside, to sRGB of 8 bits, premultiplied,
/// sends it through the filters, and fills `to`: strip by strip, as rows are decoded. False, noted, when they cannot
/// be.
bool drawRows(const CGImage& image, int left, int top, const engine::Pixels& to, const PointFilters& filters);

} // namespace zel
