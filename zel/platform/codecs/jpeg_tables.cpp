#include <zel/platform/codecs/jpeg_tables.h>

#include <algorithm>
#include <cmath>

namespace zel {
namespace {

// ITU-T T.81, tables K.1 and K.2.
constexpr std::array<std::array<std::uint8_t, 64>, 2> standardTables{{
    {16, 11,  10,  16, 24, 40, 51, 61, 12,  12,  14,  19,  26, 58, 60, 55,  14,  13,  16,  24, 40, 57,
     69, 56,  14,  17, 22, 29, 51, 87, 80,  62,  18,  22,  37, 56, 68, 109, 103, 77,  24,  35, 55, 64,
     81, 104, 113, 92, 49, 64, 78, 87, 103, 121, 120, 101, 72, 92, 95, 98,  112, 100, 103, 99},
    {17, 18, 24, 47, 99, 99, 99, 99, 18, 21, 26, 66, 99, 99, 99, 99, 24, 26, 56, 99, 99, 99,
     99, 99, 47, 66, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99,
     99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99},
}};

int scaleOfWhole(int quality)
{
    const int held = std::clamp(quality, 1, 100);
    return held < 50 ? 5000 / held : 200 - 2 * held;
}

} // namespace

double jpegTableScale(double quality)
{
    if (!(quality > 0))
        return scaleOfWhole(0);
    const double percent = 100 * std::min(quality, 1.0);
    constexpr double slack = 1e-9; // 100 × 0.07 is a little more than 7
    const double nearest = std::round(percent);
    if (std::abs(percent - nearest) < slack)
        return scaleOfWhole(static_cast<int>(nearest));
    const double below = std::floor(percent);
    const int lower = scaleOfWhole(static_cast<int>(below));
    const int upper = scaleOfWhole(static_cast<int>(below) + 1);
    return lower + (upper - lower) * (percent - below);
}

JpegQuantizers jpegQuantizers(double quality)
{
    const double scale = jpegTableScale(quality);
    JpegQuantizers result{};
    for (std::size_t table = 0; table < result.size(); ++table)
        for (std::size_t place = 0; place < 64; ++place) {
            const double exact = standardTables[table][place] * scale / 100;
            result[table][place] = static_cast<std::uint16_t>(std::clamp(std::floor(exact + 0.5), 1.0, 255.0));
        }
    return result;
}

} // namespace zel
