#include <zel/engine/ycc_decode.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace zel::engine {
namespace {

std::int32_t fixed(double value)
{
    return static_cast<std::int32_t>(std::lround(value * (1 << yccFraction)));
}

template <class Sample>
void convertRow(const Sample* luma, const Sample* blue, const Sample* red, const YccToRgb& formula, Sample* rgbx,
                std::size_t pixels)
{
    constexpr std::int32_t most = std::numeric_limits<Sample>::max();
    for (std::size_t x = 0; x < pixels; ++x, rgbx += 4) {
        for (std::size_t c = 0; c < 3; ++c) {
            const std::int32_t sum =
                formula.luma * luma[x] + formula.blue[c] * blue[x] + formula.red[c] * red[x] + formula.offset[c];
            rgbx[c] = static_cast<Sample>(std::clamp(sum >> yccFraction, std::int32_t{0}, most));
        }
        rgbx[3] = static_cast<Sample>(most);
    }
}

} // namespace

YccToRgb yccToRgb(const YccCoding& coding)
{
    const double most = (1 << coding.bits) - 1, eighth = 1 << (coding.bits - 8);
    const double full = coding.bits == 8 ? 255 : 65535;
    const double black = coding.isFullRange ? 0 : 16 * eighth;
    const double scale = full / (coding.isFullRange ? most : 219 * eighth);
    const double differenceScale = full / (coding.isFullRange ? most : 224 * eighth);
    const double centre = 128 * eighth;

    // Shares of Cb and Cr in red, green and blue, of signals from 0 to 1 and differences from -0.5 to 0.5.
    const double kr = coding.red, kb = coding.blue, kg = 1 - kr - kb;
    const double ofBlue[3] = {0, -2 * kb * (1 - kb) / kg, 2 * (1 - kb)};
    const double ofRed[3] = {2 * (1 - kr), -2 * kr * (1 - kr) / kg, 0};
    constexpr double ofGreenness[3] = {-1, 1, -1}, ofOrangeness[3] = {1, 0, -1};

    YccToRgb formula;
    formula.luma = fixed(scale);
    for (std::size_t c = 0; c < 3; ++c) {
        formula.blue[c] = fixed(differenceScale * (coding.isYCgCo ? ofGreenness[c] : ofBlue[c]));
        formula.red[c] = fixed(differenceScale * (coding.isYCgCo ? ofOrangeness[c] : ofRed[c]));
        // From the factors as rounded, so that greys stay grey.
        const double zero = black * formula.luma + centre * (formula.blue[c] + formula.red[c]);
        formula.offset[c] = static_cast<std::int32_t>(std::lround((1 << (yccFraction - 1)) - zero));
    }
    return formula;
}

void fromYccReference(const std::uint8_t* luma, const std::uint8_t* blue, const std::uint8_t* red,
                      const YccToRgb& formula, std::uint8_t* rgbx, std::size_t pixels)
{
    convertRow(luma, blue, red, formula, rgbx, pixels);
}

void fromYccReference(const std::uint16_t* luma, const std::uint16_t* blue, const std::uint16_t* red,
                      const YccToRgb& formula, std::uint16_t* rgbx, std::size_t pixels)
{
    convertRow(luma, blue, red, formula, rgbx, pixels);
}

} // namespace zel::engine
