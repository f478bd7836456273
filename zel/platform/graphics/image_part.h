#pragma once
#include <zel/platform/graphics/pixel_provider.h>

// Parts of pictures: the same samples, depth, layout and profile, in the same memory where there is one.
namespace zel {

/// Whole pixels, from the top-left corner.
struct PixelArea {
    int left = 0, top = 0, width = 0, height = 0;
    friend bool operator==(const PixelArea&, const PixelArea&) = default;
};

/// The rectangle (pixels, origin top left), widened to whole pixels (a millionth counts as nothing) and clipped to a
/// picture of that size. Absent where nothing is left or a figure is not a number.
ZEL_API std::optional<PixelArea> pixelArea(const CGRect& rect, int width, int height);

/// A part of the upright picture. Where that is decoded, a view of its pixels, which live as long as one of the two;
/// else a picture that decodes no more rows than its own, and that at a reduced size where the part's edges allow. The
/// picture itself where the part is all of it. Null, noted, where the part does not lie inside or `image` is null.
Ref<const CGImage> partOf(const Ref<const CGImage>& image, const PixelArea& area);

/// The same of an encoded picture: `area` lies in the upright picture.
Ref<const PixelProvider> partOf(const Ref<const PixelProvider>& provider, const PixelArea& area);

/// `partOf` the `pixelArea` of the rectangle: how every crop on the pixel grid is cut. Null, noted, where the rectangle
/// and the picture share no pixel.
Ref<const CGImage> imageInRect(const Ref<const CGImage>& image, const CGRect& rect);

} // namespace zel
