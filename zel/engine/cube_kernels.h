#pragma once
#include <zel/engine/cube.h>

namespace zel::engine {

inline constexpr std::size_t cubeEntrySize = 8;

/// A value c of a byte stands at c × (side - 1) ÷ 255 of the lattice: at the point `index`, and beyond it by the
/// fraction (rest × 257 + 2) ÷ 4, cut off, of 16384, rest being what the division leaves. With the fractions r, g, b
/// the pairs of neighbours along red weigh
///   both = g × b ÷ 16384, cut off; g - both; b - both; 16384 - g - b + both
/// and of each such weight the far neighbour gets weight × r ÷ 16384, cut off, the near one the rest. A component is
/// the sum of entries × weights, plus 2^20, ÷ 2^21, cut off. At points of the lattice that is the entry itself.
///
/// Each row of `from` into that of `to`; alpha stays. Both have one size; reads and writes nothing outside them. `to`
/// may be `from`.
void cubeRows(const ColorCube& cube, const ConstPixels& from, const Pixels& to);
void cubeRowsReference(const ColorCube& cube, const ConstPixels& from, const Pixels& to);

} // namespace zel::engine
