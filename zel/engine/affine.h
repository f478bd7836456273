#pragma once
#include <zel/engine/pixels.h>

namespace zel::engine {

/// Where a point of the target lies in the source, both in pixels from the upper left corner, y downward (the centre of
/// the first pixel is (0.5, 0.5)): x' = xx × x + xy × y + x0, y' = yx × x + yy × y + y0.
struct AffineMap {
    double xx = 1, xy = 0, x0 = 0;
    double yx = 0, yy = 1, y0 = 0;
};

/// What stands around the picture that is drawn.
enum class Rim {
    clear,    ///< nothing: the edge fades out within one pixel of the source, half of it inside
    extended, ///< the outermost pixels, on and on
};

enum class Onto {
    replace, ///< every pixel of the target is written, clear ones too
    over,    ///< source over target
};

struct AffineDrawing {
    AffineMap map;      ///< from the target back to the source
    double opacity = 1; ///< 0…1, as for `sourceOver`
    Rim rim = Rim::clear;
    Onto onto = Onto::over;
};

/// Draws `from` through a map into `to`, sampled bilinearly; both RGBA, 8 bits, premultiplied, without overlap.
/// Positions are exact to 2^-32 pixels of the source, weights to 16 bits; a move by whole pixels gives the very bytes.
/// Reducing by more than a half skips pixels: reduce the source first. Same bytes for any number of threads.
///
/// False, and nothing drawn: no pixels, not 4 bytes each, or a map that is not finite or leads further than 2^29
/// pixels.
[[nodiscard]] bool drawAffine(const ConstPixels& from, const Pixels& to, const AffineDrawing& drawing);

} // namespace zel::engine
