#include <zel/engine/convert_kernels.h>

#include <algorithm>
#include <array>
#include <cstring>

namespace zel::engine {
namespace {

using Components = std::array<std::uint64_t, 4>; // red, green, blue, alpha

Components readPixel(const std::uint8_t* at, int bytes, bool alphaFirst)
{
    Components stored{};
    for (std::size_t i = 0; i < 4; ++i) {
        if (bytes == 1) {
            stored[i] = at[i];
        } else {
            std::uint16_t value;
            std::memcpy(&value, at + 2 * i, 2);
            stored[i] = value;
        }
    }
    return alphaFirst ? Components{stored[1], stored[2], stored[3], stored[0]} : stored;
}

void writePixel(const Components& pixel, std::uint8_t* at, int bytes, bool alphaFirst)
{
    const Components stored = alphaFirst ? Components{pixel[3], pixel[0], pixel[1], pixel[2]} : pixel;
    for (std::size_t i = 0; i < 4; ++i) {
        if (bytes == 1) {
            at[i] = static_cast<std::uint8_t>(stored[i]);
        } else {
            const auto value = static_cast<std::uint16_t>(stored[i]);
            std::memcpy(at + 2 * i, &value, 2);
        }
    }
}

void applyAlpha(Components& pixel, Conversion::Step step, std::uint64_t most)
{
    const std::uint64_t alpha = pixel[3];
    switch (step) {
    case Conversion::Step::keep:
        break;
    case Conversion::Step::premultiply:
        for (std::size_t i = 0; i < 3; ++i)
            pixel[i] = (pixel[i] * alpha + most / 2) / most;
        break;
    case Conversion::Step::divide:
        for (std::size_t i = 0; i < 3; ++i)
            pixel[i] = alpha == 0 ? 0 : std::min(most, (2 * pixel[i] * most + alpha) / (2 * alpha));
        break;
    }
}

} // namespace

void convertRowsReference(const Conversion& conversion, const ConstPixels& from, const Pixels& to)
{
    const bool deep = conversion.fromBytes == 2 || conversion.toBytes == 2;
    for (int y = 0; y < from.height; ++y) {
        for (int x = 0; x < from.width; ++x) {
            Components pixel = readPixel(from.at(x, y), conversion.fromBytes, conversion.fromAlphaFirst);
            if (deep && conversion.fromBytes == 1)
                for (auto& component : pixel)
                    component *= 257;
            applyAlpha(pixel, conversion.step, deep ? 65535 : 255);
            if (conversion.makeOpaque)
                pixel[3] = deep ? 65535 : 255;
            if (deep && conversion.toBytes == 1)
                for (auto& component : pixel)
                    component = (component * 255 + 32767) / 65535;
            writePixel(pixel, to.at(x, y), conversion.toBytes, conversion.toAlphaFirst);
        }
    }
}

} // namespace zel::engine
