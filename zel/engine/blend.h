#pragma once
#include <zel/engine/convert.h>
#include <zel/engine/pixels.h>

#include <array>

namespace zel::engine {

/// Lays `from` over `to`, both RGBA, 8 bits, premultiplied, of one size, without overlap. With c a component of `from`,
/// a its alpha, d the component below, and the opacity held in steps of 1/65281, the result is
/// c × opacity + d × (1 - a × opacity) to the nearest value, within 1/100 of a step: computed in 1/256 steps that are
/// cut off once. An opacity of 0, and what is clear, changes nothing; what is opaque at opacity 1 is copied; an opaque
/// `to` stays opaque. An opacity outside 0…1 counts as the nearer of the two, one that is not a number as 0.
///
/// False, and nothing drawn: the sizes differ or are empty, or the pixels have not 4 bytes.
[[nodiscard]] bool sourceOver(const ConstPixels& from, const Pixels& to, double opacity = 1);

/// The picture on a sheet of one colour, as formats without transparency need it: RGBA of 8 bits in, opaque RGBA out
/// (alpha 255), each component to the nearest value. `to` may be `from`. False as for `sourceOver`.
[[nodiscard]] bool flatten(const ConstPixels& from, PixelLayout::Alpha alpha, const Pixels& to,
                           std::array<std::uint8_t, 3> paper = {255, 255, 255});

} // namespace zel::engine
