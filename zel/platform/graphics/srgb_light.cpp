#include <zel/platform/graphics/srgb_light.h>

#include <algorithm>
#include <cmath>
#include <vector>

namespace zel {
namespace {

/// sRGB's primaries in XYZ, brought from D65 (x 0.3127, y 0.3290) to D50 by the Bradford method.
constexpr ColorMatrix linearSrgbToXyz = {
    {{0.43604, 0.38511, 0.14305}, {0.22248, 0.71691, 0.06061}, {0.01392, 0.09707, 0.71391}}};

ColorMatrix inverse(const ColorMatrix& m)
{
    const auto minor = [&](std::size_t row, std::size_t column) {
        const std::size_t r1 = (row + 1) % 3, r2 = (row + 2) % 3, c1 = (column + 1) % 3, c2 = (column + 2) % 3;
        return m[r1][c1] * m[r2][c2] - m[r1][c2] * m[r2][c1];
    };
    const double determinant = m[0][0] * minor(0, 0) + m[0][1] * minor(0, 1) + m[0][2] * minor(0, 2);
    ColorMatrix result{};
    for (std::size_t row = 0; row < 3; ++row)
        for (std::size_t column = 0; column < 3; ++column)
            result[row][column] = minor(column, row) / determinant;
    return result;
}

double encode(double linear)
{
    return linear <= 0.0031308 ? 12.92 * linear : 1.055 * std::pow(linear, 1 / 2.4) - 0.055;
}

double decode(double encoded)
{
    return encoded <= 0.04045 ? encoded / 12.92 : std::pow((encoded + 0.055) / 1.055, 2.4);
}

} // namespace

ColorMatrix product(const ColorMatrix& left, const ColorMatrix& right)
{
    ColorMatrix result{};
    for (std::size_t row = 0; row < 3; ++row)
        for (std::size_t column = 0; column < 3; ++column)
            for (std::size_t k = 0; k < 3; ++k)
                result[row][column] += left[row][k] * right[k][column];
    return result;
}

const ColorMatrix& xyzToLinearSrgb()
{
    static const ColorMatrix matrix = inverse(linearSrgbToXyz);
    return matrix;
}

const std::uint8_t* srgbBytes()
{
    static const std::vector<std::uint8_t> table = [] {
        std::vector<std::uint8_t> made(steps8 + 1);
        int next = 0;
        for (int value = 0; value < 256; ++value) { // up to the light from which the next byte is nearer
            const int end =
                value == 255 ? steps8 + 1 : static_cast<int>(std::ceil(decode((value + 0.5) / 255) * steps8));
            for (; next < end; ++next)
                made[static_cast<std::size_t>(next)] = static_cast<std::uint8_t>(value);
        }
        return made;
    }();
    return table.data();
}

const float* srgbWords()
{
    static const std::vector<float> table = [] {
        constexpr int points = 65536;
        std::vector<float> made(points + 2); // full light has a right neighbour, too
        for (std::size_t i = 0; i < made.size(); ++i)
            made[i] = static_cast<float>(encode(std::min(1.0, static_cast<double>(i) / points)) * 65535);
        return made;
    }();
    return table.data();
}

} // namespace zel
