#pragma once
#include <zel/core/image.h>
#include <zel/export.h>

// Every change of a picture's pixel size. Pictures are resampled with Lanczos 3, widened on reduction, decoded at the
// smallest size that serves; values are interpolated as encoded, colours premultiplied. The image given stays as it is.
namespace zel {

/// Whether `join` brings pictures to the larger or the smaller of their matching sides.
enum class ZelImage::ScaleMode { max, min };

struct ResizeTo {
    CGSize to; ///< pixels, may have fractions; sides are rounded up to whole ones in the result
};
struct ResizeWithMaxSide {
    CGFloat withMaxSide;
};
struct ResizeWithMinSide {
    CGFloat withMinSideBoundedTo;
};
/// `resize(photo, {.toWidth = 640})`
struct ResizeToWidth {
    CGFloat toWidth; ///< pixels; the height follows, ratio kept
};
struct ResizeToHeight {
    CGFloat toHeight;
};
struct ThumbSize {
    CGSize size;
    CGFloat maxSide;
};
struct ThumbMaxSide {
    CGFloat maxSide;
};
struct ResizedTo {
    CGSize to;
    bool scaleToFill = false; ///< without effect: the result always fills the size
};

ZEL_API CGFloat aspectRatio(const Ref<ZelImage>& image); ///< width ÷ height; not a number for an absent image

/// Stretched to exactly that size, ratio not kept. Null without pixels or for a side that is not above 0.
ZEL_API Ref<ZelImage> resize(const Ref<ZelImage>& image, ResizeTo target);
/// Reduced, ratio kept, sides truncated and at least 1; a picture that is small enough is rendered at its own size.
ZEL_API Ref<ZelImage> resize(const Ref<ZelImage>& image, ResizeWithMaxSide side);
/// Reduced until the shorter side is the bound; `image` itself where it is not longer.
ZEL_API Ref<ZelImage> resize(const Ref<ZelImage>& image, ResizeWithMinSide side);
/// A scaled copy, or `image` itself where the width cannot be had. Absent only when `image` is.
ZEL_API Ref<ZelImage> resize(const Ref<ZelImage>& image, ResizeToWidth width);
ZEL_API Ref<ZelImage> resize(const Ref<ZelImage>& image, ResizeToHeight height);
/// The size whose longer side is `maxSide`, ratio kept, not rounded; grows as readily as it shrinks.
ZEL_API CGSize thumbSize(ThumbSize what);
ZEL_API Ref<ZelImage> thumb(const Ref<ZelImage>& image, ThumbMaxSide side);
/// Drawn whole, ratio kept, into the middle of a transparent picture of that size.
ZEL_API Ref<ZelImage> resizeWithFit(const Ref<ZelImage>& image, ResizeTo target);
/// Drawn, ratio kept, so that it covers all of a picture of that size; what hangs over is cut.
ZEL_API Ref<ZelImage> resizeWithFill(const Ref<ZelImage>& image, ResizeTo target);
/// The expression stretched to exactly that size; null when `image` is or the size is not finite.
ZEL_API Ref<const CIImage> resized(const Ref<const CIImage>& image, ResizedTo target);

namespace ZelImageHelper {
struct ImageSize {
    CGSize size;
};
struct TargetSize {
    CGSize targetSize;
};
struct FillColorImage {
    NSColor color;
    CGSize size;
};
struct WithSize {
    CGSize withSize;
};
/// Drawn into a bitmap of that many pixels (truncated); the image measures size ÷ display scale points. Tells its steps
/// on the console. Null where the bitmap cannot be made.
ZEL_API Ref<ZelImage> resizeImage_v3(const Ref<ZelImage>& image, ImageSize size);
/// Drawn with the triangle filter into an image of that many points and pixels; `image` itself without pixels (noted).
ZEL_API Ref<ZelImage> resizeImage_v4(const Ref<ZelImage>& image, ImageSize size);
/// Reduced by at most a factor of 4 a step until the target is reached; a step that fails ends with the last image.
/// Null for a target that is not above 0 or not finite.
ZEL_API Ref<ZelImage> reduceImageToSize(const Ref<ZelImage>& image, TargetSize target);
/// One pixel: the exact mean of all of them, colours weighted by alpha. Not by steps: those would lean to the middle.
/// `image` itself where it has no pixels (noted).
ZEL_API Ref<ZelImage> reduceImageTo1x1Pixels(const Ref<ZelImage>& image);
/// All of one colour.
ZEL_API Ref<ZelImage> getFillColorImage(FillColorImage what);
/// Blank, its NSImage of size ÷ display scale points; stores the size, as `makeZelImage({.size = …})` does.
ZEL_API Ref<ZelImage> createImage(WithSize size);
} // namespace ZelImageHelper

} // namespace zel
