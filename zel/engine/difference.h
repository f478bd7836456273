#pragma once
#include <zel/engine/pixels.h>

namespace zel::engine {

/// How far two pictures are apart, summed over all four components of all pixels, each 0...255.
struct DifferenceSums {
    std::uint64_t absolute = 0;
    std::uint64_t squares = 0;
    std::uint64_t differing = 0; ///< pixels in which a component differs by more than the tolerance
    int largest = 0;
    bool opaque = true; ///< the fourth component is 255 everywhere in both

    friend bool operator==(const DifferenceSums&, const DifferenceSums&) = default;
};

/// Of pictures of one size, 8 bits a component, on all cores; nothing where the sizes differ.
[[nodiscard]] DifferenceSums differenceSums(const ConstPixels& a, const ConstPixels& b, int tolerance);

/// An opaque grey picture that is as bright as the largest difference of a pixel's components, times 255 ÷ `white`
/// (above 0), at most white. False where the sizes differ.
[[nodiscard]] bool differenceMap(const ConstPixels& a, const ConstPixels& b, int white, const Pixels& to);

} // namespace zel::engine
