#include <zel/engine/convolve_kernels.h>

#include <algorithm>

namespace zel::engine {

void convolveRowReference(const ConvolvedRows& in, std::uint8_t* to, std::size_t count)
{
    for (std::size_t k = 0; k < count; ++k) {
        std::int32_t sum = 0; // at most 9 × 255 × 32768, which is below 2^27
        for (std::size_t i = 0; i < 3; ++i) {
            const std::uint8_t* left = in.rows[i] + k - 4;
            for (std::size_t j = 0; j < 3; ++j)
                sum += in.weights[3 * i + j] * left[4 * j];
        }
        to[k] = static_cast<std::uint8_t>(std::clamp(sum / 3, 0, 255));
    }
}

} // namespace zel::engine
