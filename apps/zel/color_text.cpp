#include "color_text.h"

#include <fmt/format.h>

#include <algorithm>

namespace zel::program {

std::array<std::uint8_t, 4> bytesOf(const std::array<double, 4>& color)
{
    std::array<std::uint8_t, 4> bytes{};
    std::transform(color.begin(), color.end(), bytes.begin(),
                   [](double component) { return static_cast<std::uint8_t>(std::clamp(component, 0.0, 255.0) + 0.5); });
    return bytes;
}

std::string colorText(const std::array<double, 4>& color)
{
    const auto [red, green, blue, alpha] = bytesOf(color);
    const auto text = fmt::format("#{:02x}{:02x}{:02x}", red, green, blue);
    return alpha == 255 ? text : text + fmt::format("{:02x}", alpha);
}

} // namespace zel::program
