#include <zel/platform/graphics/matrix_shaper.h>

#include <algorithm>
#include <cmath>
#include <cstring>

// 8 bits: a table for each component gives, for each of its 256 values, the light that it adds to all three primaries
// of sRGB (curve and matrix at once), so a pixel is three loads and two additions of four numbers; the sum finds its
// byte in a table. 12 KiB in and 16 KiB out stay in the first cache. Whole numbers, because holding them to their range
// takes no branch, which saturated colours would mispredict. 16 bits: curve, matrix and encoding one after the other.
namespace zel {
namespace {

constexpr double mostOfMatrix = 5; // real ones stay below 3.2; three such sums of light up to 2 fit in 32 bits
constexpr int fractionBits = 13;   // of a step, in the sums of 8 bits

double lightOf(const MatrixShaper::Curve& curve, double sample)
{
    const double light = curve(sample);
    return std::isfinite(light) ? std::clamp(light, -2.0, 2.0) : 0.0;
}

double held(double share, double most)
{
    return std::isfinite(share) ? std::clamp(share, -most, most) : 0.0;
}

} // namespace

MatrixShaper::MatrixShaper(std::array<Curve, 3> curves, const ColorMatrix& toXyz)
    : curves_(std::move(curves)), toLinearSrgb_(product(xyzToLinearSrgb(), toXyz))
{
    constexpr double full = steps8 << fractionBits;
    for (std::size_t component = 0; component < 3; ++component)
        for (std::size_t value = 0; value < 256; ++value) {
            const double light = lightOf(curves_[component], static_cast<double>(value) / 255) * full;
            Light& sums = light8_[component][value];
            for (std::size_t primary = 0; primary < 3; ++primary) {
                const double share = held(toLinearSrgb_[primary][component] * light, mostOfMatrix * full);
                sums[primary] = static_cast<std::int32_t>(std::lround(share));
            }
            sums[3] = 0;
        }
}

void MatrixShaper::apply8(const std::uint8_t* from, std::uint8_t* to, int width) const
{
    constexpr int half = 1 << (fractionBits - 1);
    const std::uint8_t* const bytes = srgbBytes();
    for (int x = 0; x < width; ++x, from += 4, to += 4) {
        const Light& red = light8_[0][from[0]];
        const Light& green = light8_[1][from[1]];
        const Light& blue = light8_[2][from[2]];
        for (std::size_t primary = 0; primary < 3; ++primary) {
            const int step = (red[primary] + green[primary] + blue[primary] + half) >> fractionBits;
            to[primary] = bytes[std::min(std::max(step, 0), steps8)];
        }
        to[3] = from[3];
    }
}

void MatrixShaper::apply16(const std::uint8_t* from, std::uint8_t* to, int width) const
{
    std::call_once(made16_, [this] {
        linear16_ = std::make_unique<std::array<std::array<float, 65536>, 3>>();
        for (std::size_t component = 0; component < 3; ++component)
            for (std::size_t value = 0; value < 65536; ++value)
                (*linear16_)[component][value] =
                    static_cast<float>(lightOf(curves_[component], static_cast<double>(value) / 65535) * steps16);
    });
    std::array<std::array<float, 3>, 3> matrix;
    for (std::size_t row = 0; row < 3; ++row)
        for (std::size_t column = 0; column < 3; ++column)
            matrix[row][column] = static_cast<float>(held(toLinearSrgb_[row][column], mostOfMatrix));

    const float* const words = srgbWords();
    for (int x = 0; x < width; ++x, from += 8, to += 8) {
        std::array<std::uint16_t, 4> pixel;
        std::memcpy(pixel.data(), from, 8);
        const float red = (*linear16_)[0][pixel[0]];
        const float green = (*linear16_)[1][pixel[1]];
        const float blue = (*linear16_)[2][pixel[2]];
        for (std::size_t primary = 0; primary < 3; ++primary) {
            const float sum = matrix[primary][0] * red + matrix[primary][1] * green + matrix[primary][2] * blue;
            pixel[primary] = srgbWord(words, std::min(std::max(static_cast<int>(sum), 0), steps16));
        }
        std::memcpy(to, pixel.data(), 8);
    }
}

void MatrixShaper::apply(const engine::ConstPixels& from, const engine::Pixels& to) const
{
    for (int y = 0; y < to.height; ++y) {
        if (to.bytesPerPixel == 8)
            apply16(from.row(y), to.row(y), to.width);
        else
            apply8(from.row(y), to.row(y), to.width);
    }
}

} // namespace zel
