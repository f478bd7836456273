#include <zel/engine/blend_kernels.h>

#include <algorithm>

namespace zel::engine {

void blendRowsReference(const ConstPixels& from, const Pixels& to, std::uint32_t opacity)
{
    const auto shown = [opacity](std::uint32_t component) { return (component * 257 * opacity) >> 16; };
    for (int y = 0; y < to.height; ++y) {
        for (int x = 0; x < to.width; ++x) {
            const std::uint8_t* source = from.at(x, y);
            std::uint8_t* result = to.at(x, y);
            const std::uint32_t clear = fullOpacity - shown(source[3]);
            for (int i = 0; i < 4; ++i) {
                const std::uint32_t below = (result[i] * 257u * clear) >> 16;
                result[i] = static_cast<std::uint8_t>(std::min(65535u, shown(source[i]) + below + 128) >> 8);
            }
        }
    }
}

void flattenRowsReference(const ConstPixels& from, bool premultiplied, const Pixels& to,
                          std::array<std::uint8_t, 3> paper)
{
    for (int y = 0; y < to.height; ++y) {
        for (int x = 0; x < to.width; ++x) {
            const std::uint8_t* source = from.at(x, y);
            std::uint8_t* result = to.at(x, y);
            const std::uint32_t alpha = source[3];
            const std::uint32_t weight = premultiplied ? 255 : alpha;
            for (std::size_t i = 0; i < 3; ++i) {
                const std::uint32_t sum = source[i] * weight + paper[i] * (255 - alpha);
                result[i] = static_cast<std::uint8_t>(std::min(255u, (sum + 127) / 255));
            }
            result[3] = 255;
        }
    }
}

} // namespace zel::engine
