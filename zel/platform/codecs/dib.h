#pragma once
#include <zel/platform/foundation/byte_source.h>
#include <zel/platform/graphics/cg_image.h>

#include <array>

// Device-independent bitmaps: what BMP files and icons hold behind their own headers. Core headers of 12 bytes, those
// of OS/2, and versions 1 to 5 of the information header.
namespace zel::dib {

enum class Coding { plain, rle4, rle8 };

/// Where a component stands in a pixel of 16 or 32 bits, and what its values become.
struct Channel {
    std::uint32_t mask = 0;
    int shift = 0, bits = 0;            ///< 0 bits: there is none
    std::vector<std::uint8_t> to8 = {}; ///< 2^bits entries, up to 8 bits
};

struct Bitmap {
    int width = 0, height = 0; ///< as shown; of icons the half that the picture has
    bool topDown = false;
    int bits = 0; ///< a pixel
    Coding coding = Coding::plain;
    std::array<Channel, 4> channels = {};                  ///< red, green, blue, alpha; of 16 and 32 bits
    std::vector<std::array<std::uint8_t, 4>> palette = {}; ///< RGBA; as many entries as there are indices
    std::uint64_t pixels = 0;                              ///< where they begin
    double dpiX = 0, dpiY = 0;
    Ref<const CGColorSpace> profile = {};

    [[nodiscard]] bool hasAlpha() const { return channels[3].bits > 0; }
    /// Of our pixels: 16 where a component has more than 8.
    [[nodiscard]] int bitsPerComponent() const;
    /// Of a component in the file.
    [[nodiscard]] int fileBits() const;
    [[nodiscard]] std::uint64_t rowBytes() const; ///< stored, not of run lengths
};

/// Reads the header at `at` and the palette behind it. `pixels`: where the file says that they begin, 0 where it does
/// not. Absent with the reason noted: damage, over a limit, a way of coding that is not handled. `format` begins the
/// sentences.
std::optional<Bitmap> read(const ByteSource& source, std::uint64_t at, std::uint64_t pixels, std::string_view format);
/// The same in an icon: the height counts the mask below the picture, and 32 bits have alpha.
std::optional<Bitmap> readInIcon(const ByteSource& source, std::string_view format);

/// A stored row (or palette indices of a byte each, from run lengths) as RGBA pixels of `bitsPerComponent`, straight
/// alpha; opaque where there is none.
void unpackRow(const Bitmap& bitmap, const std::uint8_t* stored, std::uint8_t* to);
void unpackIndices(const Bitmap& bitmap, const std::uint8_t* indices, std::uint8_t* to);

} // namespace zel::dib
