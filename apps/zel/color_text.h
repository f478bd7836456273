#pragma once
#include <array>
#include <cstdint>
#include <string>

namespace zel::program {

/// The bytes of a colour of red, green, blue, alpha, 0...255, rounded to nearest.
std::array<std::uint8_t, 4> bytesOf(const std::array<double, 4>& color);
/// "#7a8b9c"; "#7a8b9c80" where it is not opaque.
std::string colorText(const std::array<double, 4>& color);

} // namespace zel::program
