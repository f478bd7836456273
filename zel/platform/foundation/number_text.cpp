#include <zel/platform/foundation/number_text.h>

#include <array>
#include <charconv>
#include <cmath>
#include <fmt/format.h>

namespace zel {

std::string shortestDecimal(double value)
{
    if (std::isnan(value))
        return "nan";
    if (std::isinf(value))
        return value < 0 ? "-inf" : "inf";
    const double size = std::fabs(value);
    const bool plain = size == 0 || (size >= 1e-4 && size < 1e16);
    // Fixed notation of 1e-4 with 17 figures, sign and point, needs less than 32 characters.
    std::array<char, 32> text{};
    const auto written = std::to_chars(text.data(), text.data() + text.size(), value,
                                       plain ? std::chars_format::fixed : std::chars_format::scientific);
    std::string decimal(text.data(), written.ptr);
    if (plain && decimal.find('.') == std::string::npos)
        decimal += ".0";
    return decimal;
}

std::string byteText(std::uint64_t bytes)
{
    if (bytes < 1000)
        return fmt::format("{} bytes", bytes);
    constexpr std::array<const char*, 6> units = {"kB", "MB", "GB", "TB", "PB", "EB"};
    double amount = static_cast<double>(bytes) / 1000;
    std::size_t unit = 0;
    // 999.95 would be written as 1000.0.
    for (; amount >= 999.95 && unit + 1 < units.size(); ++unit)
        amount /= 1000;
    return fmt::format("{:.1f} {}", amount, units[unit]);
}

} // namespace zel
