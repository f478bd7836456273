#pragma once
#include <zel/engine/pixels.h>

#include <array>

namespace zel::engine {

/// An opacity of 1 in the fixed point of the blending kernels: 255 × 257 × this ÷ 65536 is exactly 255 × 256.
inline constexpr std::uint32_t fullOpacity = 65281;

/// An opacity of 0…1 in that fixed point; what lies outside counts as the nearer end, not a number as 0.
[[nodiscard]] std::uint32_t fixedOpacity(double opacity);

/// For each component, in unsigned 16-bit arithmetic (additions saturate):
///   shown(v) = v × 257 × opacity ÷ 65536, cut off: the source in 1/256 steps
///   result   = (shown(c) + d × 257 × (fullOpacity - shown(a)) ÷ 65536, cut off, + 128) ÷ 256, cut off
/// where a is the source's alpha. `opacity` is at most `fullOpacity`. All rows of two pictures of one size.
void blendRows(const ConstPixels& from, const Pixels& to, std::uint32_t opacity);
void blendRowsReference(const ConstPixels& from, const Pixels& to, std::uint32_t opacity);

/// Colours become (c × weight + paper × (255 - a)) ÷ 255 to the nearest value and at most 255, alpha 255; the weight is
/// 255 for premultiplied and a for straight pixels.
void flattenRows(const ConstPixels& from, bool premultiplied, const Pixels& to, std::array<std::uint8_t, 3> paper);
void flattenRowsReference(const ConstPixels& from, bool premultiplied, const Pixels& to,
                          std::array<std::uint8_t, 3> paper);

} // namespace zel::engine
