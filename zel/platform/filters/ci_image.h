#pragma once
#include <zel/export.h>
#include <zel/platform/graphics/cg_image.h>

namespace zel {

/// An immutable expression that yields a picture when a CIContext renders it: a source, then any number of transforms,
/// crops and filters. Coordinates run from the lower-left corner of the source, y upward, in pixels. Making one
/// computes nothing.
class ZEL_API CIImage {
public:
    static Ref<const CIImage> make(const Ref<const CGImage>& image); ///< null when `image` is
    static Ref<const CIImage> make(const Data& encoded); ///< null, with the reason noted, when it is no picture
    /// Where the picture lies; sides may have fractions. Empty (0 × 0) after a crop that misses it.
    CGRect extent() const;
    /// Whatever was there, moved by the transform; the extent becomes the bounding box.
    Ref<const CIImage> transformed(const CGAffineTransform& transform) const;
    /// What lies inside the rectangle; null when the rectangle's figures are not finite.
    Ref<const CIImage> cropped(CGRect rect) const;
    /// Turned counterclockwise about the centre of the extent and enlarged by the smallest factor that leaves none of
    /// its corners empty; the extent stays. Null when the angle is not finite.
    Ref<const CIImage> straightened(CGFloat radians) const;
    /// Its light times 2^ev, clipped at white; alpha stays. Null when `ev` is not finite.
    Ref<const CIImage> exposed(double ev) const;
    /// An unsharp mask on luma alone (a Gaussian of sigma 1.69 pixels): colours and alpha stay. 0 changes nothing;
    /// below 0 it softens. Null when `sharpness` is not finite.
    Ref<const CIImage> luminanceSharpened(float sharpness) const;

private:
    friend class CIContext;
    friend struct CIImageAccess;
    friend Ref<const CGImage> untouchedSource(const CIImage& image);
    CIImage();
    struct Node;
    Ref<const Node> node_;
};

/// Renders expressions. Keeps nothing between renderings; any number of threads may use one.
class ZEL_API CIContext {
public:
    CIContext();
    /// The part `from` of the expression, sRGB, 8 bits, its sides rounded up to whole pixels (a millionth counts as
    /// nothing); a fractional extent fills the rounded size, so that no edge is half transparent. Transparent where the
    /// expression has nothing. Transforms are composed into one and resampled once: Lanczos 3 where axes stay axes,
    /// bilinear for other angles; the source is decoded at the smallest size that serves. Filters of single pixels run
    /// over strips of rows; sharpening takes one more picture of the result's size. Null, with the reason noted, for an
    /// empty or infinite `from`, too large a result, or a source that cannot be decoded.
    Ref<const CGImage> createCGImage(const Ref<const CIImage>& image, CGRect from) const;

private:
    struct State;
    Ref<State> state_;
};

} // namespace zel
