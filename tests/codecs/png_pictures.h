#pragma once
#include <zel/engine/pixels.h>
#include <zel/platform/codecs/codec.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

// PNG files for tests, written by libpng or chunk by chunk, and a decoding of them into plain memory.
namespace zel::testing_png {

using Bytes = std::vector<std::uint8_t>;

/// What libpng is to write. `rows` holds the packed rows of the file, without filter bytes, 16-bit samples big endian.
struct Recipe {
    int width = 1, height = 1;
    int bits = 8;
    int type = 6; ///< 0 grey, 2 RGB, 3 palette, 4 grey and alpha, 6 RGBA
    bool interlaced = false;
    int filters = -1; ///< PNG_FILTER_… bits; -1 = libpng's choice
    Bytes palette = {};
    Bytes transparency = {}; ///< the content of a tRNS chunk
    Bytes rows = {};

    [[nodiscard]] int channels() const { return type == 2 ? 3 : type == 4 ? 2 : type == 6 ? 4 : 1; }
    [[nodiscard]] std::size_t rowBytes() const
    {
        return (static_cast<std::size_t>(width) * static_cast<std::size_t>(channels() * bits) + 7) / 8;
    }
};

/// Fills `rows` with samples that are the same for the same seed: noise among smooth ramps, indices within the palette.
void fillRows(Recipe& recipe, unsigned seed = 1);
Bytes writeWithLibpng(const Recipe& recipe);

/// What the picture of a recipe must decode to, computed from the samples by the rules of the standard: four components
/// a pixel, 8 bits, or 16 where the file has 16.
std::vector<std::uint16_t> expectedSamples(const Recipe& recipe);

struct Decoded {
    int width = 0, height = 0, bits = 8;
    PictureFacts facts;
    std::vector<std::uint16_t> samples;
    bool complete = false; ///< what `decode` answered
};
/// Opens and decodes rows into memory that was filled with `fill` before; absent when the picture does not open.
std::optional<Decoded> decode(const Bytes& file, PixelProvider::Request request = {}, std::uint8_t fill = 0);

/// A chunk with its length and checksum.
Bytes chunk(const std::string& type, const Bytes& data);
/// A file of the given chunks behind the signature.
Bytes fileOf(const std::vector<Bytes>& chunks);
Bytes imageHeader(std::uint32_t width, std::uint32_t height, int bits, int type, int interlace = 0);
/// A zlib stream of the content.
Bytes deflated(const Bytes& content);
void append(Bytes& to, const Bytes& more);

} // namespace zel::testing_png
