#pragma once
#include <zel/export.h>
#include <zel/platform/images/ns_image.h>

namespace zel::Draw {

struct CopyBits {
    Ref<NSImage> srcImage;
    std::optional<CGRect> srcRect = {};      ///< pixels of the source; absent = the whole
    std::optional<CGRect> dstRect = {};      ///< points of the target, from its lower-left corner; wins over dstPoint
    std::optional<CGPoint> dstPoint = {};
    CGFloat opacity = 1;
};

/// Makes the image this thread's drawing target until end().
void start(const Ref<NSImage>& target);
void copybits(CopyBits what);
void end();

} // namespace zel::Draw
