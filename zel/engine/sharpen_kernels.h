#pragma once
#include <array>
#include <cstddef>
#include <cstdint>

// The passes of `sharpenLuma`, a row at a time. Planes hold 64 steps a byte's, 0 to 16320, in 16 bits. Below,
// product(a, b) = (a × b + 2^14) ÷ 2^15, rounded down. All have a reference in plain C++, and read and write nothing
// beyond `count` values or pixels but what is said.
namespace zel::engine {

/// Weights of the neighbours at distance 1, 2, …; 2^15 is 1. The pixel's own weight is what is left.
struct Gaussian {
    static constexpr int furthest = 15;
    int reach = 0;
    std::array<std::int16_t, furthest> weights{};
};

/// (54 red + 183 green + 19 blue + 2) ÷ 4, cut off.
void lumaRow(const std::uint8_t* pixels, std::int16_t* luma, std::size_t count);
void lumaRowReference(const std::uint8_t* pixels, std::int16_t* luma, std::size_t count);

/// alpha × 64.
void alphaRow(const std::uint8_t* pixels, std::int16_t* alpha, std::size_t count);
void alphaRowReference(const std::uint8_t* pixels, std::int16_t* alpha, std::size_t count);

/// value + Σ product(left neighbour + right neighbour - 2 value, weight), from the nearest outward. `row` may be read
/// from `reach` values before it to as many behind its end.
void blurAcross(const std::int16_t* row, const Gaussian& gaussian, std::int16_t* to, std::size_t count);
void blurAcrossReference(const std::int16_t* row, const Gaussian& gaussian, std::int16_t* to, std::size_t count);

/// The same down a column; `rows` are 2 reach + 1.
void blurDown(const std::int16_t* const* rows, const Gaussian& gaussian, std::int16_t* to, std::size_t count);
void blurDownReference(const std::int16_t* const* rows, const Gaussian& gaussian, std::int16_t* to, std::size_t count);

/// The surroundings' luma as it would be under each pixel's own alpha: alpha × luma ÷ cover, to nearest in single
/// precision, held to alpha; 0 where cover is 0 or below. In place, over `luma`.
void lumaUnderAlpha(const std::int16_t* alpha, const std::int16_t* cover, std::int16_t* luma, std::size_t count);
void lumaUnderAlphaReference(const std::int16_t* alpha, const std::int16_t* cover, std::int16_t* luma,
                             std::size_t count);

/// What is made of the detail: factor × 2^-shift times 1/128, in levels of a byte.
struct Gain {
    std::int16_t factor = 0;
    int shift = 0; ///< 0 to 7
};
Gain gainOf(double amount);

/// Adds (product(2 (luma - soft), factor) + half) >> shift to red, green and blue (half of 2^shift), held to 0…alpha.
void addDetail(const std::uint8_t* pixels, const std::int16_t* luma, const std::int16_t* soft, Gain gain,
               std::uint8_t* to, std::size_t count);
void addDetailReference(const std::uint8_t* pixels, const std::int16_t* luma, const std::int16_t* soft, Gain gain,
                        std::uint8_t* to, std::size_t count);

} // namespace zel::engine
