#pragma once
#include <zel/core/image.h>
#include <zel/export.h>

#include <span>

namespace zel {

/// Both sides truncated toward zero; what a 64-bit integer cannot hold becomes the nearest limit, not a number becomes
/// 0.
ZEL_API CGSize boundToInt(CGSize size);

// Arithmetic for placing, bounding and describing pictures. "Minimum", "maximum", width and height are those of the
// standardised rectangle (sides made positive); where a rectangle's own fields are meant, that is said. Absent images
// and empty rectangles give what the arithmetic gives (0, infinity, not a number), never a failure.
namespace ZelImageHelper {

struct CenteredAt {
    CGPoint centeredAt;
    CGSize withSize;
};
struct InImageRect {
    CGRect rect;
};
struct OfRect {
    CGRect of;
};
struct WeightedPoint {
    CGPoint point;
    CGFloat factor;
};
struct GravityRects {
    std::span<const CGRect> rects;
};
struct BoundRect {
    CGRect boundRect;
    CGRect rect;
};
struct BoundPoint {
    CGPoint point;
    CGRect rect;
    CGSize insetSize;
};
struct CroppingSize {
    CGRect rect;
    CGFloat ratio;
    CGFloat zoom;
};
struct InnerRect {
    CGRect boundsRect;
    CGRect innerRect;
};
struct UnitRect {
    CGRect boundsRect;
    CGRect normalizedTo1Rect;
};
struct RatioOfBy {
    std::int64_t of;
    std::int64_t by;
};
struct OfImage {
    Ref<ZelImage> of;
};
struct OfSize {
    CGSize of;
};
struct OfUrl {
    URL of;
};

ZEL_API CGSize getSize(const Ref<const CGImage>& image);       ///< pixels
ZEL_API CGSize getRepresentedSize(const Ref<ZelImage>& image); ///< points
ZEL_API CGRect getRect(const Ref<ZelImage>& image);            ///< origin (0, 0), pixels
ZEL_API CGRect getRect(CenteredAt where);                      ///< size fields as given
ZEL_API CGPoint getActualPointWithoutRetina(CGPoint point);    ///< device pixels ÷ display scale
ZEL_API CGSize getActualSizeWithoutRetina(CGSize size);
/// From the image's pixels to its points.
ZEL_API CGRect getActualRectWithRepresentation(const Ref<ZelImage>& image, InImageRect rect);
ZEL_API CGPoint getCenter(OfRect rect);
ZEL_API CGPoint weightedPoint(WeightedPoint point);
ZEL_API CGPoint sumPoints(CGPoint a, CGPoint b);
/// The mean of the centres, weighted by area; not a number when there is no area.
ZEL_API CGPoint getCenterOfGravity(GravityRects rects);
/// Moved, not resized, into the bounds; one that is too large ends on the bounds' high edges.
ZEL_API CGRect boundRect(BoundRect what);
/// The point held inside the rectangle shrunk by half of `insetSize` on each side; the high limit wins.
ZEL_API CGPoint boundPoint(BoundPoint what);
/// The largest crop of that ratio (width ÷ height), divided by the zoom.
ZEL_API CGSize getCroppingSize(CroppingSize what);
/// In units of the bounds, their low corner at (0, 0); takes the inner rectangle's own origin.
ZEL_API CGRect getNormalizedTo1Rect(InnerRect what);
ZEL_API CGRect getDenormalizedRect(UnitRect what);
ZEL_API CGFloat getRatio(RatioOfBy what);
ZEL_API CGFloat getRatio(OfRect rect); ///< of the size fields as given
ZEL_API CGFloat getRatio(OfImage image);
/// "4000x3000", sides truncated; empty where there is no image.
ZEL_API std::string getReadableImageSize(OfSize size);
ZEL_API std::string getReadableImageSize(OfImage image);
ZEL_API std::string getReadableImageSize(OfUrl file);
/// "16:9", sides truncated and reduced exactly; empty where there is no image. A side of 0 beside another gives "1:0"
/// or "0:1", two give "0:0"; signs are kept, but equal sides are always "1:1".
ZEL_API std::string getReadableRatio(OfSize size);
ZEL_API std::string getReadableRatio(OfImage image);
ZEL_API std::string getReadableRatio(OfUrl file);
/// The whole extent, through one context that all calls share.
ZEL_API Ref<const CGImage> ciImageToCGImage(const Ref<const CIImage>& image);

} // namespace ZelImageHelper
} // namespace zel
