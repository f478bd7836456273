#pragma once
#include <zel/engine/pixels.h>

namespace zel::engine {

struct Sharpening {
    double sigma = 1.69; ///< of the Gaussian, in pixels: from 0.2 to 5
    double amount = 1;   ///< times the detail that is added; below 0 it is taken away. Held to ±127
};

/// How far around a pixel the Gaussian reaches: 3 sigma, rounded to a whole number of pixels, at least 1.
[[nodiscard]] int reachOf(const Sharpening& sharpening);

/// An unsharp mask on luma alone: to red, green and blue of a pixel the same is added, `amount` times what its luma
/// (ITU-R BT.709) exceeds that of its surroundings by, so that colours stay and no fringes appear. RGBA, 8 bits,
/// premultiplied; alpha is copied. Surroundings count by their alpha: a cut-out gets no rim from the nothing around it.
/// The outermost pixels go on and on beyond the picture; flat areas stay exactly as they are. The two must not overlap.
///
/// `opaque`: alpha is 255 everywhere, which costs less than half. Same bytes for any number of threads. False: the
/// sizes differ or are empty, pixels are not 4 bytes, sigma is outside its range, amount is no number, or memory ran
/// out (then part of `to` may have been written).
[[nodiscard]] bool sharpenLuma(const ConstPixels& from, const Pixels& to, const Sharpening& sharpening, bool opaque);

} // namespace zel::engine
