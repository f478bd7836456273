#include <zel/engine/key_kernels.h>

#include <array>

namespace zel::engine {
namespace {

/// Calls `change` with red, green, blue, alpha of every pixel, and stores what it leaves.
template <class Change>
void forEachPixel(const ConstPixels& from, const Pixels& to, PixelOrder order, const Change& change)
{
    for (int y = 0; y < from.height; ++y) {
        for (int x = 0; x < from.width; ++x) {
            const std::uint8_t* stored = from.at(x, y);
            const std::uint8_t* colors = order.fromAlphaFirst ? stored + 1 : stored;
            std::array<std::uint8_t, 4> pixel = {colors[0], colors[1], colors[2],
                                                 order.fromAlphaFirst ? stored[0] : stored[3]};
            if (order.fromIsOpaque)
                pixel[3] = 255;
            change(pixel);
            std::uint8_t* written = to.at(x, y);
            for (std::size_t i = 0; i < 4; ++i)
                written[order.toAlphaFirst ? (i + 1) % 4 : i] = pixel[i];
        }
    }
}

} // namespace

void keyRowsReference(const ConstPixels& from, const Pixels& to, PixelOrder order, const ColorKey& key)
{
    forEachPixel(from, to, order, [&](auto& pixel) {
        const int red = pixel[0] - key.color.red, green = pixel[1] - key.color.green, blue = pixel[2] - key.color.blue;
        if (red * red + green * green + blue * blue <= key.mostSquare)
            pixel[3] = 0;
    });
}

void paintRowsReference(const ConstPixels& from, const Pixels& to, PixelOrder order, Color color)
{
    forEachPixel(from, to, order, [&](auto& pixel) {
        pixel[0] = color.red;
        pixel[1] = color.green;
        pixel[2] = color.blue;
    });
}

} // namespace zel::engine
