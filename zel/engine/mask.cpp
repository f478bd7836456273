#include <zel/engine/mask.h>
#include <zel/engine/parallel.h>

#include <algorithm>

namespace zel::engine {
namespace {

constexpr std::uint32_t third = 21846; // of 65536, rounded up, so that 3 × 255 gives 255

void setByBrightness(const std::uint8_t* mask, std::uint8_t* picture, int count)
{
    for (int x = 0; x < count; ++x) {
        const std::uint32_t sum = std::uint32_t{mask[4 * x]} + mask[4 * x + 1] + mask[4 * x + 2];
        picture[4 * x] = static_cast<std::uint8_t>((sum * third) >> 16U);
    }
}

void setByAlpha(const std::uint8_t* mask, std::uint8_t* picture, int count)
{
    for (int x = 0; x < count; ++x)
        picture[4 * x] = mask[4 * x + 3];
}

} // namespace

void setAlpha(const ConstPixels& mask, AlphaOf what, const Pixels& picture)
{
    const int width = std::min(mask.width, picture.width), height = std::min(mask.height, picture.height);
    if (width < 1 || height < 1)
        return;
    const auto setRow = what == AlphaOf::brightness ? setByBrightness : setByAlpha;
    parallelFor(height, width, [&](int first, int last) {
        for (int y = first; y < last; ++y)
            setRow(mask.row(y), picture.row(y), width);
    });
}

} // namespace zel::engine
