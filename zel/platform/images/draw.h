#pragma once
#include <zel/export.h>
#include <zel/platform/graphics/cg_context.h>
#include <zel/platform/images/ns_image.h>

namespace zel::Draw {

struct CopyBits {
    Ref<NSImage> srcImage;
    std::optional<CGRect> srcRect = {};   ///< pixels of the source, origin top left; absent = the whole
    std::optional<CGRect> dstRect = {};   ///< points of the target, from its lower-left corner; wins over dstPoint
    std::optional<CGPoint> dstPoint = {}; ///< lower-left corner of the source at its own size in points
    CGFloat opacity = 1;
    CGInterpolationQuality quality = CGInterpolationQuality::high;
};

/// Makes the image this thread's drawing target until `end()`: its pixels, or for a blank one points × display scale
/// pixels of transparent black. Targets nest; each `start` needs its `end`, also where it noted that it cannot draw
/// (no image, a side of 0, too large: what is drawn is then lost).
ZEL_API void start(const Ref<NSImage>& target);
/// Draws over what is there, antialiased, clipped to the target. A rectangle with whole sides is
/// moved to the nearest whole pixel, any other widened to whole pixels. Does nothing without a target.
ZEL_API void copybits(CopyBits what);
/// Fills a rectangle (points, from the lower left) with a colour, over what is there.
ZEL_API void fillRect(CGRect rect, const NSColor& color);
/// The image now shows what was drawn.
ZEL_API void end();

} // namespace zel::Draw
