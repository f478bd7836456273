#pragma once
#include <cstddef>
#include <cstdint>

namespace zel::engine {

/// Components of a pixel as files store them, without gaps: 8 bits each, or 16 with the high byte first.
enum class PackedFormat { grey, greyAlpha, rgb, rgba };

[[nodiscard]] constexpr int componentsOf(PackedFormat format)
{
    return static_cast<int>(format) + 1;
}

/// Writes `pixels` packed pixels as red, green, blue, alpha of the same depth (16 bits: the machine's byte order). Grey
/// stands in all three colours; where there is no alpha, the pixel is opaque. Exactly the bytes of the pixels are read
/// and written; the two rows do not overlap, but `to` may be `from` for rgba.
void expandRow(const std::uint8_t* from, PackedFormat format, int bytesPerComponent, std::uint8_t* to,
               std::size_t pixels);
void expandRowReference(const std::uint8_t* from, PackedFormat format, int bytesPerComponent, std::uint8_t* to,
                        std::size_t pixels);

/// The way back: grey takes the red component, and an alpha that has no place is dropped.
void packRow(const std::uint8_t* from, std::uint8_t* to, PackedFormat format, int bytesPerComponent,
             std::size_t pixels);
void packRowReference(const std::uint8_t* from, std::uint8_t* to, PackedFormat format, int bytesPerComponent,
                      std::size_t pixels);

} // namespace zel::engine
