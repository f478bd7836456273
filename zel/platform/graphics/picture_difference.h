#pragma once
#include <zel/export.h>
#include <zel/platform/graphics/cg_image.h>

namespace zel {

/// How far two pictures of one size are apart as they are drawn: sRGB, 8 bits, premultiplied, so that what is clear in
/// both is equal whatever colour it hides. Over red, green and blue, and alpha where a pixel of the two is not opaque.
struct PictureDifference {
    double mean = 0;        ///< 0...255, over all components of all pixels
    int largest = 0;        ///< 0...255
    double share = 0;       ///< of the pixels that differ, 0...1
    double psnr = 0;        ///< decibels; infinite where nothing differs
    Ref<const CGImage> map; ///< grey, each pixel as bright as its largest difference, the largest of all white
};

struct DifferenceOptions {
    int tolerance = 0; ///< a pixel differs where a component is farther off than this, 0...255
    bool withMap = false;
};

/// Absent with the reason noted: sizes that differ, a picture that does not decode. Cost: both are decoded and held.
ZEL_API std::optional<PictureDifference> pictureDifference(const CGImage& a, const CGImage& b,
                                                           const DifferenceOptions& options);

} // namespace zel
