#pragma once
#include <array>
#include <cstddef>
#include <cstdint>

namespace zel::engine {

/// Three rows of pixels of 4 bytes, one above the other: bytes [-4, count + 4) of each are read.
struct ConvolvedRows {
    std::array<const std::uint8_t*, 3> rows;
    std::array<std::int16_t, 9> weights;
};

/// For each k of [0, count), with row i and pixel j of the nine: the sum s of weights[3 i + j] × rows[i][k + 4 (j -
/// 1)]; to[k] = 0 where s is below 0, 255 where s is 765 or more, else s ÷ 3 without its fraction. `to` must overlap no
/// row.
void convolveRow(const ConvolvedRows& in, std::uint8_t* to, std::size_t count);
void convolveRowReference(const ConvolvedRows& in, std::uint8_t* to, std::size_t count);

} // namespace zel::engine
