#pragma once
#include <zel/engine/pixels.h>

#include <array>

namespace zel::engine {

/// What each value of a colour becomes.
using ToneTable = std::array<std::uint8_t, 256>;

/// Sends red, green and blue of all pixels through the table and copies alpha. RGBA, 8 bits; colours are straight, or
/// the picture is opaque. `to` may be `from`; otherwise the two must not overlap. False, and nothing written: the sizes
/// differ or are empty, or pixels are not 4 bytes.
[[nodiscard]] bool applyTone(const ConstPixels& from, const ToneTable& table, const Pixels& to);

} // namespace zel::engine
