#pragma once
#include <zel/engine/convert.h>
#include <zel/engine/pixels.h>

#include <array>

namespace zel::engine {

/// Exact sums over all pixels, in the components' own steps: of each colour times its weight, and of alpha.
struct WeightedSums {
    std::array<std::uint64_t, 3> colours{};
    std::uint64_t alpha = 0;

    friend bool operator==(const WeightedSums&, const WeightedSums&) = default;
};

/// The weight of a straight colour is its alpha, that of others is 255 or 65535; a skipped alpha counts as that too.
/// At most 2^31 pixels.
[[nodiscard]] WeightedSums sumPixels(const ConstPixels& pixels, PixelLayout layout);
[[nodiscard]] WeightedSums sumPixelsReference(const ConstPixels& pixels, PixelLayout layout);

} // namespace zel::engine
