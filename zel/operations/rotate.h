#pragma once
#include <zel/core/image.h>
#include <zel/export.h>

// Positive angles turn counterclockwise.
namespace zel {

/// Quarter turns, named by where they lead.
enum class ZelImage::RotationDirection {
    r90Clockwhise,    ///< the right edge becomes the top one: counterclockwise, as seen
    r90AntiClockWise, ///< the right edge becomes the bottom one: clockwise, as seen
    r180,
    fixHorizon, ///< not turned: a copy
    none,       ///< not turned: the very same image
};

/// Label of `rotate` by any angle: `rotate(photo, {.degrees = 7})`.
struct RotateDegrees {
    double degrees;
};
struct RotateByDegrees {
    double byDegrees;
};

/// Turned in its own depth, layout and colours: every sample stays as it was. A picture that is not decoded yet is
/// turned when it is, at no cost of its own where it is resized first. Null where `image` or its pixels are absent, or
/// no memory is left.
ZEL_API Ref<ZelImage> rotate(const Ref<ZelImage>& image, ZelImage::RotationDirection direction);
ZEL_API Ref<const CGImage> rotate(const Ref<const CGImage>& image, ZelImage::RotationDirection direction);

/// The platform image turned about its centre, on a canvas grown to the turned picture's bounding box, its corners
/// clear. As many pixels a point as before (the denser direction's, where they differ); sides rounded up to whole
/// pixels. sRGB, 8 bits, sampled bilinearly, the rim antialiased; multiples of 90° move samples as they are, as above.
/// Null, with the reason noted, where the angle is not finite, there are no pixels, or the result is too large.
ZEL_API Ref<ZelImage> rotate(const Ref<ZelImage>& image, RotateDegrees angle);

/// Straightened: turned about its centre and enlarged by the smallest factor that leaves no corner of the picture's own
/// size empty; see `CIImage::straightened`. sRGB, 8 bits. Null, with the reason noted, where the angle is not finite or
/// there are no pixels.
ZEL_API Ref<ZelImage> rotateAndZoom(const Ref<ZelImage>& image, RotateByDegrees angle);

namespace ZelImageHelper {
struct RotateBy {
    double by;
};
/// The same turn by way of the filters: `ciImage()` about its extent's centre, rendered over its whole new extent;
/// sRGB, 8 bits. `image` itself, the reason noted, where that gives nothing. Absent only when `image` is.
ZEL_API Ref<ZelImage> rotate(const Ref<ZelImage>& image, RotateBy degrees);
} // namespace ZelImageHelper

} // namespace zel
