#include <zel/engine/mean_kernels.h>

#include <cstring>

namespace zel::engine {

WeightedSums sumPixelsReference(const ConstPixels& pixels, PixelLayout layout)
{
    const std::uint64_t most = layout.bytesPerComponent == 1 ? 255 : 65535;
    WeightedSums sums;
    for (int y = 0; y < pixels.height; ++y) {
        for (int x = 0; x < pixels.width; ++x) {
            std::array<std::uint64_t, 4> stored{};
            for (std::size_t i = 0; i < 4; ++i) {
                if (layout.bytesPerComponent == 1) {
                    stored[i] = pixels.at(x, y)[i];
                } else {
                    std::uint16_t value;
                    std::memcpy(&value, pixels.at(x, y) + 2 * i, 2);
                    stored[i] = value;
                }
            }
            const std::uint64_t alpha =
                layout.alpha == PixelLayout::Alpha::skip ? most : stored[layout.alphaFirst ? 0 : 3];
            const std::uint64_t weight = layout.alpha == PixelLayout::Alpha::straight ? alpha : most;
            for (std::size_t i = 0; i < 3; ++i)
                sums.colours[i] += stored[layout.alphaFirst ? i + 1 : i] * weight;
            sums.alpha += alpha;
        }
    }
    return sums;
}

} // namespace zel::engine
