#include <zel/platform/filters/exposure_table.h>

#include <algorithm>
#include <cmath>

// The curve of IEC 61966-2-1.
namespace zel {
namespace {

constexpr double most = 255;
constexpr double endless = 64; // stops: black and white are all that is left long before

double lightOf(double encoded)
{
    return encoded <= 0.04045 ? encoded / 12.92 : std::pow((encoded + 0.055) / 1.055, 2.4);
}

double encodedOf(double light)
{
    return light <= 0.0031308 ? 12.92 * light : 1.055 * std::pow(light, 1 / 2.4) - 0.055;
}

} // namespace

engine::ToneTable exposureTable(double stops)
{
    const double gain = std::exp2(std::clamp(stops, -endless, endless));
    engine::ToneTable table{};
    for (std::size_t value = 0; value < table.size(); ++value) {
        const double light = std::min(1.0, lightOf(static_cast<double>(value) / most) * gain);
        table[value] = static_cast<std::uint8_t>(std::lround(encodedOf(light) * most));
    }
    return table;
}

} // namespace zel
