#include <zel/operations/watermark.h>

#include <zel/operations/resize.h>
#include <zel/platform/foundation/notes.h>
#include <zel/platform/images/draw.h>
#include <zel/platform/images/target_image.h>

#include <algorithm>

namespace zel {
namespace {

/// The mark's lower-left corner, from that of the target.
CGPoint offsetOf(ZelWatermark::Position position, CGSize target, CGSize mark)
{
    using Position = ZelWatermark::Position;
    const CGFloat right = target.width - mark.width, top = target.height - mark.height;
    switch (position) {
    case Position::topLeft:
        return {0, top};
    case Position::topCenter:
        return {right / 2, top};
    case Position::topRight:
        return {right, top};
    case Position::centerLeft:
        return {0, top / 2};
    case Position::center:
        return {right / 2, top / 2};
    case Position::centerRight:
        return {right, top / 2};
    case Position::bottomLeft:
        return {0, 0};
    case Position::bottomCenter:
        return {right / 2, 0};
    case Position::bottomRight:
        break;
    }
    return {right, 0};
}

} // namespace

CGSize ZelWatermark::Scale::scaleOf(Of images) const
{
    if (!images.watermarkImage || !images.whenAppliedTo)
        return {};
    const CGSize mark = images.watermarkImage->size, target = images.whenAppliedTo->size;
    if (policy == Policy::largestSideScale)
        return mark * (std::min(target.width / mark.width, target.height / mark.height) * scale);
    const CGFloat allowed = std::min(target.width * maxScale / mark.width, target.height * maxScale / mark.height);
    return mark * std::min(allowed, 1.0);
}

Ref<ZelImage> watermark(const Ref<ZelImage>& image, WatermarkWith mark)
{
    if (!image || !mark.with)
        return failAbsentInput("watermark");
    const CGSize size = mark.using_.scale.scaleOf({.watermarkImage = mark.with, .whenAppliedTo = image});
    const Ref<ZelImage> resizedMark = resize(mark.with, {.to = size});
    if (!resizedMark)
        return nullptr;
    const Ref<NSImage> target = makeTargetImage(image->size, image->size);
    Draw::start(target);
    Draw::copybits({.srcImage = image->image, .dstRect = CGRect{{0, 0}, image->size}});
    // The resized mark has whole sides; at edges on the right and at the top its own corner counts, not the unrounded
    // size's.
    Draw::copybits(
        {.srcImage = resizedMark->image,
         .dstRect = CGRect{offsetOf(mark.using_.position, image->size, resizedMark->size), resizedMark->size},
         .opacity = mark.using_.opacity});
    Draw::end();
    return target->cgImage() ? makeZelImage(target) : nullptr;
}

} // namespace zel
