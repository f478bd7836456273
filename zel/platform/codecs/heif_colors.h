#pragma once
#include <zel/engine/ycc_decode.h>
#include <zel/platform/codecs/heif_contents.h>

namespace zel::heif {

/// The way from a coded picture's samples to red, green and blue.
struct SampleMeaning {
    bool isRgb = false; ///< luma is green, Cb blue, Cr red
    engine::YccToRgb formula;
    std::vector<std::uint16_t> values; ///< of single samples (grey, or of RGB): what each becomes, of 8 or 16 bits
};

/// Whether samples coded so can be read (ITU-T H.273, table 4); others count as the usual kind.
bool isKnownMatrix(int matrix);

/// What the file's boxes state wins over what the coded picture states of itself.
SampleMeaning meaningOf(const Planes& planes, const std::optional<StatedColors>& stated);

} // namespace zel::heif
