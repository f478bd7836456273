#include <zel/engine/cube_kernels.h>

#include <array>

namespace zel::engine {
namespace {

constexpr int one = 16384;

struct Position {
    int index, fraction;
};

Position positionOf(std::uint8_t value, int side)
{
    const int scaled = value * (side - 1);
    return {scaled / 255, (scaled % 255 * 257 + 2) / 4};
}

} // namespace

void cubeRowsReference(const ColorCube& cube, const ConstPixels& from, const Pixels& to)
{
    const int side = cube.side();
    for (int y = 0; y < from.height; ++y)
        for (int x = 0; x < from.width; ++x) {
            const std::uint8_t* pixel = from.at(x, y);
            const Position red = positionOf(pixel[0], side), green = positionOf(pixel[1], side),
                           blue = positionOf(pixel[2], side);
            const int both = green.fraction * blue.fraction / one;
            const std::array<int, 4> weights = {one - green.fraction - blue.fraction + both, green.fraction - both,
                                                blue.fraction - both, both};
            std::array<int, 3> sums{};
            for (int corner = 0; corner < 4; ++corner) {
                const int weight = weights[static_cast<std::size_t>(corner)];
                const int far = weight * red.fraction / one;
                const int line = (blue.index + corner / 2) * side + green.index + corner % 2;
                const auto at = static_cast<std::size_t>(line * side + red.index);
                const std::int16_t* entry = cube.entries() + at * cubeEntrySize;
                for (std::size_t i = 0; i < sums.size(); ++i)
                    sums[i] += (weight - far) * entry[2 * i] + far * entry[2 * i + 1];
            }
            std::uint8_t* result = to.at(x, y);
            result[3] = pixel[3];
            for (std::size_t i = 0; i < sums.size(); ++i)
                result[i] = static_cast<std::uint8_t>((sums[i] + (1 << 20)) >> 21);
        }
}

} // namespace zel::engine
