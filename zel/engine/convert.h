#pragma once
#include <zel/engine/pixels.h>

namespace zel::engine {

/// What the four components of a pixel are.
struct PixelLayout {
    enum class Alpha { skip, straight, premultiplied };
    bool alphaFirst = false;            ///< alpha, red, green, blue; else red, green, blue, alpha
    Alpha alpha = Alpha::premultiplied; ///< skip: the fourth component says nothing, the picture is opaque
    int bytesPerComponent = 1;          ///< 1, or 2 in the machine's byte order

    friend bool operator==(const PixelLayout&, const PixelLayout&) = default;
};

/// Writes the pixels of `from` to `to` in another layout. The two have one size in pixels and do not overlap; where
/// the layouts need the same bytes a pixel they may also be the very same pixels.
///
/// Every step rounds to the nearest value: premultiplying gives c × a ÷ most, dividing c × most ÷ a (halves upward, at
/// most `most`, and 0 where a is 0), 16 bits become 8 as v ÷ 257, 8 bits become 16 as v × 257; `most` is 255 or 65535.
/// Where one side has 16 bits, the alpha step is made in 16. What is read from a skipped alpha is opaque; a skipped
/// alpha is written as `most`, beside the colours of the straight form.
///
/// False, and nothing written: the sizes differ or are empty, or a layout does not fit its bytes a pixel.
[[nodiscard]] bool convert(const ConstPixels& from, PixelLayout fromLayout, const Pixels& to, PixelLayout toLayout);

} // namespace zel::engine
