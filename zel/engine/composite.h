#pragma once
#include <zel/engine/pixels.h>
#include <zel/engine/resample.h>

namespace zel::engine {

/// A rectangle in pixels of a target, from its upper left corner; it may hang over the target's edges.
struct Placement {
    double x = 0, y = 0, width = 0, height = 0;
};

/// Scales `from` to a rectangle of `to` and blends it there, both RGBA, 8 bits, premultiplied, without overlap. Only
/// what shows is computed. A rectangle with fractions is widened to whole pixels (with a tolerance of 1e-6) and the
/// picture fills it, so no edge is half transparent; at its own size a picture is not resampled. The opacity as for
/// `sourceOver`. Same bytes for any number of threads.
///
/// False, and nothing drawn: no pixels, not 4 bytes each, a rectangle without area, not finite or further out than 2^30
/// pixels; or memory ran out, then perhaps half-way.
/// Cost: `nearest` and `triangle` scale and blend in one pass where they enlarge or reduce by no more than a half; what
/// remains is resampled into a strip of 2 MiB and blended from there.
[[nodiscard]] bool drawScaled(const ConstPixels& from, const Pixels& to, const Placement& place,
                              Kernel kernel = Kernel::triangle, double opacity = 1);

} // namespace zel::engine
