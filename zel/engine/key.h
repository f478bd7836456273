#pragma once
#include <zel/engine/key_kernels.h>

namespace zel::engine {

/// The largest whole sum of squares whose root, in double precision, is not above the tolerance: comparing sums of
/// squared differences with it decides as comparing each root would. -1 where no root is that small. Not a number
/// counts as below 0.
[[nodiscard]] int largestKeyedSquare(double tolerance);

/// Copies pixels of 8 bits, alpha 0 where the stored colour belongs to the key. `from` and `to` have one size and are
/// the very same pixels or do not overlap. On all cores. False, and nothing written: sizes differ or are empty, or
/// pixels have not four bytes.
[[nodiscard]] bool keyOut(const ConstPixels& from, const Pixels& to, PixelOrder order, const ColorKey& key);

/// The same where every colour becomes another one and alpha stays.
[[nodiscard]] bool paintOver(const ConstPixels& from, const Pixels& to, PixelOrder order, Color color);

} // namespace zel::engine
