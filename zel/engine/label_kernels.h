#pragma once
#include <cstddef>
#include <cstdint>

namespace zel::engine {

/// One bit for each of `count` pixels of red, green, blue, alpha, 8 bits each: set where alpha is above the threshold.
/// The bit of pixel x is bit x % 64 of word x / 64; bits behind the last pixel are clear. Reads and writes nothing
/// else.
void markAlphaAbove(const std::uint8_t* pixels, std::size_t count, std::uint8_t threshold, std::uint64_t* bits);
void markAlphaAboveReference(const std::uint8_t* pixels, std::size_t count, std::uint8_t threshold,
                             std::uint64_t* bits);

} // namespace zel::engine
