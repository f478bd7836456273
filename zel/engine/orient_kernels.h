#pragma once
#include <zel/engine/pixels.h>

namespace zel::engine {

/// to(x, y) = from(y, x): all of `to`, whose width is the height of `from` and whose height is the width of `from`.
/// Pixels of 4 or 8 bytes; strides may be negative, which turns a transposition into a quarter turn.
void transposePixels(const ConstPixels& from, const Pixels& to);
void transposePixelsReference(const ConstPixels& from, const Pixels& to);

/// to(x, y) = from(width - 1 - x, y), both of one size.
void mirrorRows(const ConstPixels& from, const Pixels& to);
void mirrorRowsReference(const ConstPixels& from, const Pixels& to);

} // namespace zel::engine
