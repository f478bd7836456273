#include <zel/platform/graphics/lab.h>

#include <zel/platform/graphics/srgb_light.h>

#include <algorithm>
#include <cstring>

namespace zel {
namespace {

constexpr std::array<float, 3> white = {0.9642F, 1.0F, 0.8249F}; // D50

/// The inverse of CIE's function: a cube with a straight foot.
float share(float f)
{
    constexpr float foot = 6.0F / 29;
    return f > foot ? f * f * f : 3 * foot * foot * (f - 4.0F / 29);
}

/// Light of sRGB's primaries, not held to 0...1.
std::array<float, 3> lightOf(const std::array<std::array<float, 3>, 3>& matrix, float l, float a, float b)
{
    const float middle = (l + 16) / 116;
    const std::array<float, 3> xyz = {white[0] * share(middle + a / 500), white[1] * share(middle),
                                      white[2] * share(middle - b / 200)};
    std::array<float, 3> light{};
    for (std::size_t i = 0; i < 3; ++i)
        light[i] = matrix[i][0] * xyz[0] + matrix[i][1] * xyz[1] + matrix[i][2] * xyz[2];
    return light;
}

template <class Sample>
void convertRow(const std::uint8_t* from, std::uint8_t* to, int width)
{
    constexpr bool wide = sizeof(Sample) == 2;
    constexpr float full = wide ? 65535 : 255, perUnit = wide ? 257 : 1;
    constexpr int steps = wide ? steps16 : steps8;
    const std::uint8_t* const bytes = srgbBytes();
    const float* const words = wide ? srgbWords() : nullptr;
    std::array<std::array<float, 3>, 3> matrix;
    for (std::size_t row = 0; row < 3; ++row)
        for (std::size_t column = 0; column < 3; ++column)
            matrix[row][column] = static_cast<float>(xyzToLinearSrgb()[row][column]);

    for (int x = 0; x < width; ++x, from += 4 * sizeof(Sample), to += 4 * sizeof(Sample)) {
        std::array<Sample, 4> pixel;
        std::memcpy(pixel.data(), from, sizeof pixel);
        const std::array<float, 3> light =
            lightOf(matrix, static_cast<float>(pixel[0]) * (100 / full), static_cast<float>(pixel[1]) / perUnit - 128,
                    static_cast<float>(pixel[2]) / perUnit - 128);
        for (std::size_t i = 0; i < 3; ++i) {
            const int step = std::min(std::max(static_cast<int>(light[i] * steps + 0.5F), 0), steps);
            if constexpr (wide)
                pixel[i] = srgbWord(words, step);
            else
                pixel[i] = bytes[step];
        }
        std::memcpy(to, pixel.data(), sizeof pixel);
    }
}

} // namespace

void labToSrgb(const engine::ConstPixels& from, const engine::Pixels& to)
{
    for (int y = 0; y < to.height; ++y) {
        if (to.bytesPerPixel == 8)
            convertRow<std::uint16_t>(from.row(y), to.row(y), to.width);
        else
            convertRow<std::uint8_t>(from.row(y), to.row(y), to.width);
    }
}

} // namespace zel
