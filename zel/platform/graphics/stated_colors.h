#pragma once
#include <zel/platform/graphics/color_space.h>

namespace zel {

/// The colour space of primaries and a transfer curve by their numbers (ITU-T H.273, tables 2 and 3), as pictures
/// without a profile state them. Null (= sRGB) for sRGB's own, for those not stated, and for curves of films (the
/// numbers 1, 6, 7, 14, 15), which are shown as sRGB everywhere. Curves for high dynamic range (16, 18) count as sRGB
/// too, with an `unsupported` warning noted.
Ref<const CGColorSpace> spaceOfStatedColors(int primaries, int transfer, std::string_view operation);

} // namespace zel
