#pragma once
#include <zel/engine/pixels.h>

namespace zel::engine {

/// What of a mask's pixel becomes alpha.
enum class AlphaOf {
    brightness, ///< (red + green + blue) × 21846 ÷ 65536, truncated: their mean in integers
    alpha,
};

/// Replaces the alpha of `picture` (alpha, red, green, blue) by what the mask's pixels (red, green, blue, alpha) at the
/// same places say; 8 bits a component, colours stay. Where the mask ends, pixels stay as they are.
void setAlpha(const ConstPixels& mask, AlphaOf what, const Pixels& picture);

} // namespace zel::engine
