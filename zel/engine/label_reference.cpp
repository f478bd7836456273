#include <zel/engine/label_kernels.h>

#include <algorithm>

namespace zel::engine {

void markAlphaAboveReference(const std::uint8_t* pixels, std::size_t count, std::uint8_t threshold, std::uint64_t* bits)
{
    std::fill_n(bits, (count + 63) / 64, std::uint64_t{0});
    for (std::size_t x = 0; x < count; ++x)
        if (pixels[4 * x + 3] > threshold)
            bits[x / 64] |= std::uint64_t{1} << x % 64;
}

} // namespace zel::engine
