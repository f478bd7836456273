#include <zel/engine/block_kernels.h>

#include <algorithm>

namespace zel::engine {

void rescaleBlocksReference(const std::int16_t* from, const std::int16_t* factors, std::int16_t* to, std::size_t blocks)
{
    constexpr int half = 1 << 14;
    for (std::size_t i = 0; i < blocks * blockCoefficients; ++i) {
        const int exact = from[i] * factors[i % blockCoefficients] + half;
        to[i] = static_cast<std::int16_t>(std::clamp(exact >> 15, -mostCoefficient, mostCoefficient));
    }
}

} // namespace zel::engine
