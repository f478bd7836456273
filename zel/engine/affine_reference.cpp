#include <zel/engine/affine_kernels.h>
#include <zel/engine/blend_kernels.h>

#include <algorithm>
#include <array>

namespace zel::engine {
namespace {

using Sample = std::array<std::uint32_t, 4>;

/// The pixel's components × 257.
Sample pixelAt(const AffineRun& run, std::int64_t x, std::int64_t y)
{
    const std::int64_t right = run.from.width - 1;
    const std::int64_t bottom = run.from.height - 1;
    if (run.rim == Rim::clear && (x < 0 || x > right || y < 0 || y > bottom))
        return {};
    const std::uint8_t* pixel = run.from.at(static_cast<int>(std::clamp<std::int64_t>(x, 0, right)),
                                            static_cast<int>(std::clamp<std::int64_t>(y, 0, bottom)));
    return {pixel[0] * 257u, pixel[1] * 257u, pixel[2] * 257u, pixel[3] * 257u};
}

Sample mixed(const Sample& a, const Sample& b, std::uint32_t weight)
{
    Sample result{};
    for (std::size_t i = 0; i < 4; ++i)
        result[i] = ((a[i] * (65535 - weight)) >> 16) + ((b[i] * weight) >> 16);
    return result;
}

std::uint32_t fraction(std::int64_t position)
{
    return static_cast<std::uint32_t>(position) >> 16;
}

} // namespace

void drawAffineAnywhere(const AffineRun& run, std::uint8_t* to, std::size_t count)
{
    std::int64_t u = run.u;
    std::int64_t v = run.v;
    for (std::size_t k = 0; k < count; ++k, u += run.du, v += run.dv) {
        const std::int64_t x = u >> 32;
        const std::int64_t y = v >> 32;
        const Sample left = mixed(pixelAt(run, x, y), pixelAt(run, x, y + 1), fraction(v));
        const Sample right = mixed(pixelAt(run, x + 1, y), pixelAt(run, x + 1, y + 1), fraction(v));
        Sample shown = mixed(left, right, fraction(u));
        for (auto& component : shown)
            component = (component * run.opacity) >> 16;
        for (std::size_t i = 0; i < 4; ++i) {
            std::uint8_t& result = to[4 * k + i];
            const std::uint32_t under = run.onto == Onto::replace ? 0 : result;
            const std::uint32_t below = (under * 257 * (fullOpacity - shown[3])) >> 16;
            result = static_cast<std::uint8_t>(std::min(65535u, shown[i] + below + 128) >> 8);
        }
    }
}

} // namespace zel::engine
