#pragma once
#include <array>
#include <cstddef>
#include <cstdint>

namespace zel::engine {

/// How PNG replaces the bytes of a row by differences (ISO/IEC 15948, clause 9). The value is the byte in front of a
/// row. With a the byte `distance` to the left, b the one above, c the one above a (0 outside the picture), it
/// subtracts nothing, a, b, floor((a + b) / 2), or whichever of a, b, c is nearest to a + b - c (in this order where
/// two are equal).
enum class PngFilter : std::uint8_t { none, sub, up, average, paeth };
inline constexpr std::size_t pngFilterCount = 5;

// Below: `distance` is 1, 2, 3, 4, 6 or 8, the bytes of a whole pixel (1 for smaller ones). Rows are `bytes` long;
// `above` is the unfiltered row above, zeros for the first. Nothing outside the rows is read or written; they do not
// overlap.

/// Restores a row.
void pngUnfilter(PngFilter filter, std::size_t distance, const std::uint8_t* filtered, const std::uint8_t* above,
                 std::uint8_t* row, std::size_t bytes);
void pngUnfilterReference(PngFilter filter, std::size_t distance, const std::uint8_t* filtered,
                          const std::uint8_t* above, std::uint8_t* row, std::size_t bytes);

/// Replaces a row by its differences.
void pngFilter(PngFilter filter, std::size_t distance, const std::uint8_t* row, const std::uint8_t* above,
               std::uint8_t* filtered, std::size_t bytes);
void pngFilterReference(PngFilter filter, std::size_t distance, const std::uint8_t* row, const std::uint8_t* above,
                        std::uint8_t* filtered, std::size_t bytes);

/// What is known of a row before a filter is chosen.
struct PngRowMeasure {
    /// For each filter the sum of the absolute differences, taken as signed bytes.
    std::array<std::uint64_t, pngFilterCount> costs{};
    /// Bytes that equal the one to their left or the one above.
    std::uint64_t repeated = 0;

    /// The filter of the least cost, the first of equal ones.
    [[nodiscard]] PngFilter best() const;
};
PngRowMeasure pngMeasure(std::size_t distance, const std::uint8_t* row, const std::uint8_t* above, std::size_t bytes);
PngRowMeasure pngMeasureReference(std::size_t distance, const std::uint8_t* row, const std::uint8_t* above,
                                  std::size_t bytes);

} // namespace zel::engine
