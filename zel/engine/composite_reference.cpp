#include <zel/engine/blend_kernels.h>
#include <zel/engine/composite_kernels.h>

#include <algorithm>
#include <array>

namespace zel::engine {
namespace {

using Sample = std::array<std::uint32_t, 4>;

std::uint32_t product(std::uint32_t value, std::uint32_t weight)
{
    return (value * weight) >> 16;
}

Sample columnAt(const ConstPixels& from, const LayerRows& rows, std::uint32_t x, int y)
{
    const auto row = static_cast<std::size_t>(y);
    const auto taps = static_cast<std::size_t>(rows.taps);
    Sample sum{};
    for (std::size_t k = 0; k < taps; ++k) {
        const std::uint32_t weight = rows.weights[row * taps + k];
        if (weight == 0)
            continue;
        const std::uint8_t* pixel = from.at(static_cast<int>(x), rows.first[row] + static_cast<int>(k));
        for (std::size_t i = 0; i < 4; ++i)
            sum[i] += product(pixel[i] * 256u, weight);
    }
    return sum;
}

} // namespace

void drawLayerReference(const ConstPixels& from, const LayerRows& rows, const LayerColumns& columns, const Pixels& to,
                        int first, int last)
{
    const auto width = static_cast<std::size_t>(to.width);
    for (int y = first; y < last; ++y) {
        for (std::size_t x = 0; x < width; ++x) {
            Sample shown{};
            for (std::size_t k = 0; k < static_cast<std::size_t>(columns.taps); ++k) {
                const std::uint32_t weight = columns.weights[k * width + x] & 0xFFFF;
                if (weight == 0)
                    continue;
                const Sample column = columnAt(from, rows, columns.first[x] + static_cast<std::uint32_t>(k), y);
                for (std::size_t i = 0; i < 4; ++i)
                    shown[i] += product(column[i], weight);
            }
            std::uint8_t* result = to.at(static_cast<int>(x), y);
            for (std::size_t i = 0; i < 4; ++i) {
                const std::uint32_t below = product(result[i] * 257u, fullOpacity - shown[3]);
                result[i] = static_cast<std::uint8_t>(std::min(65535u, shown[i] + below + 128) >> 8);
            }
        }
    }
}

} // namespace zel::engine
