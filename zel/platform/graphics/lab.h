#pragma once
#include <zel/engine/pixels.h>

namespace zel {

/// CIE 1976 L*a*b* relative to D50 to sRGB, by the formula. Encodings as `ColorTransform::labToSrgb` describes them;
/// the fourth component is copied; `from` and `to` may be the same rows.
void labToSrgb(const engine::ConstPixels& from, const engine::Pixels& to);

} // namespace zel
