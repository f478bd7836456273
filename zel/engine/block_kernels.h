#pragma once
#include <cstddef>
#include <cstdint>

// Blocks of 8 × 8 transform coefficients, as pictures coded in them hold them.
namespace zel::engine {

inline constexpr std::size_t blockCoefficients = 64;
/// The largest that baseline JPEG codes (ITU-T T.81, table F.2).
inline constexpr int mostCoefficient = 1023;

/// Brings `blocks` blocks to coarser steps: each coefficient becomes (it × the factor of its place + 2^14) ÷ 2^15, cut
/// off toward minus infinity, and is held to ± `mostCoefficient`. Factors, 64 of them, are 0 to 32767 and stand for
/// 0 to just below 1. `from` and `to` may be the same.
void rescaleBlocks(const std::int16_t* from, const std::int16_t* factors, std::int16_t* to, std::size_t blocks);
void rescaleBlocksReference(const std::int16_t* from, const std::int16_t* factors, std::int16_t* to,
                            std::size_t blocks);

} // namespace zel::engine
