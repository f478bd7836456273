#pragma once
#include <zel/engine/pixels.h>

#include <array>

namespace zel::engine {

/// Sets every pixel to four components in stored order. 16-bit pixels get the same colour, each component × 257.
void fill(const Pixels& to, std::array<std::uint8_t, 4> pixel);

/// Copies `from` into `to`, which has the same size and bytes a pixel and is the very same pixels or does not overlap.
/// False, and nothing copied: sizes or bytes a pixel differ, or there are no pixels.
[[nodiscard]] bool copy(const ConstPixels& from, const Pixels& to);

} // namespace zel::engine
