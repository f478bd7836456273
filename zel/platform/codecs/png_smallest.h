#pragma once
#include <zel/platform/codecs/png_chunks.h>
#include <zel/platform/codecs/png_strips.h>

namespace zel::png {

/// The pixels of a picture in as few bytes as we can: what its header says, and what goes into its chunks.
struct SmallestPixels {
    ColorType type = ColorType::rgba;
    int bits = 8;
    std::vector<std::uint8_t> palette, transparency; ///< empty where there is none
    std::vector<std::uint8_t> stream;                ///< zlib
};

/// `samples` are the packed rows of the whole picture. Tries a palette, leaves out an alpha that says nothing, tries
/// each filter, and compresses with all the time it takes: minutes for a hundred megapixels. Absent when stopped
/// (noted).
std::optional<SmallestPixels> makeSmallest(const SampleFormat& format, std::vector<std::uint8_t> samples);

ColorType colorTypeOf(engine::PackedFormat packed);

} // namespace zel::png
