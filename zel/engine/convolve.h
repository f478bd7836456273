#pragma once
#include <zel/engine/pixels.h>

#include <array>

namespace zel::engine {

/// A kernel of 3 by 3 whole weights, row by row, and the pixel that stands beyond the edges, in stored order.
struct Convolution3x3 {
    std::array<std::int16_t, 9> weights{};
    std::array<std::uint8_t, 4> outside{};
};

/// Each of the four components becomes the sum of weight × component over the pixel and its eight neighbours, divided
/// by 3, the fraction cut off, held to 0…255. The kernel lies over the picture as it is written: its first weight is
/// that of the neighbour above and to the left. 8 bits, one size, no overlap. Any weights are summed exactly; those
/// whose sizes sum up to no more than 128 go faster. Same bytes for any number of threads.
///
/// False, and nothing written: no pixels, other sizes, not 4 bytes a pixel, or no memory for a row.
[[nodiscard]] bool convolve(const ConstPixels& from, const Convolution3x3& how, const Pixels& to);

} // namespace zel::engine
