#include <zel/engine/cube.h>

#include <zel/engine/cube_kernels.h>
#include <zel/engine/parallel.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <new>

// An entry holds its neighbour along red too: one load then brings both, in the order in which pairs of products are
// summed.
namespace zel::engine {
namespace {

std::array<std::uint16_t, 4> deepPixel(const ConstPixels& pixels, std::size_t index)
{
    const auto width = static_cast<std::size_t>(pixels.width);
    std::array<std::uint16_t, 4> pixel{};
    std::memcpy(pixel.data(), pixels.at(static_cast<int>(index % width), static_cast<int>(index / width)),
                sizeof pixel);
    return pixel;
}

/// 65535 becomes 255 × 128; what came from a byte is exact.
std::int16_t entryOf(std::uint16_t component)
{
    return static_cast<std::int16_t>((component * 128u + 128u) / 257u);
}

} // namespace

ColorCube::ColorCube(const ConstPixels& slices)
{
    const int side = slices.width;
    if (side < smallest || side > largest || slices.height != side * side || slices.bytesPerPixel != 8)
        return;
    const auto n = static_cast<std::size_t>(side);
    const std::size_t count = n * n * n;
    const std::size_t reach = n * n + n + 1;
    entries_.reset(new (std::nothrow) std::int16_t[(count + reach) * cubeEntrySize]());
    if (!entries_)
        return;
    side_ = side;
    for (std::size_t i = 0; i < count; ++i) {
        const auto here = deepPixel(slices, i), next = deepPixel(slices, std::min(i + 1, count - 1));
        std::int16_t* entry = &entries_[i * cubeEntrySize];
        for (std::size_t component = 0; component < 3; ++component) {
            entry[2 * component] = entryOf(here[component]);
            entry[2 * component + 1] = entryOf(next[component]);
        }
    }
}

bool applyCube(const ConstPixels& from, const ColorCube& cube, const Pixels& to)
{
    if (from.empty() || from.width != to.width || from.height != to.height || from.bytesPerPixel != 4 ||
        to.bytesPerPixel != 4 || !cube.valid())
        return false;
    parallelFor(from.height, from.width, [&](int first, int last) {
        cubeRows(cube, from.rows(first, last - first), to.rows(first, last - first));
    });
    return true;
}

} // namespace zel::engine
