#pragma once
#include <zel/export.h>
#include <zel/core/image.h>

namespace zel {

enum class ZelImage::ScaleMode { max, min };

struct ResizeTo { CGSize to; };
struct ResizeWithMaxSide { CGFloat withMaxSide; };
struct ResizeWithMinSide { CGFloat withMinSideBoundedTo; };
struct ResizeToWidth { CGFloat toWidth; };
struct ResizeToHeight { CGFloat toHeight; };
struct ThumbSize { CGSize size; CGFloat maxSide; };
struct ThumbMaxSide { CGFloat maxSide; };
struct ResizedTo { CGSize to; bool scaleToFill = false; };

CGFloat aspectRatio(const Ref<ZelImage>& image);
Ref<ZelImage> resize(const Ref<ZelImage>& image, ResizeTo target);
Ref<ZelImage> resize(const Ref<ZelImage>& image, ResizeWithMaxSide side);
Ref<ZelImage> resize(const Ref<ZelImage>& image, ResizeWithMinSide side);
Ref<ZelImage> resize(const Ref<ZelImage>& image, ResizeToWidth width);
Ref<ZelImage> resize(const Ref<ZelImage>& image, ResizeToHeight height);
CGSize thumbSize(ThumbSize what);
Ref<ZelImage> thumb(const Ref<ZelImage>& image, ThumbMaxSide side);
Ref<ZelImage> resizeWithFit(const Ref<ZelImage>& image, ResizeTo target);
Ref<ZelImage> resizeWithFill(const Ref<ZelImage>& image, ResizeTo target);
Ref<const CIImage> resized(const Ref<const CIImage>& image, ResizedTo target);

namespace ZelImageHelper {
struct ImageSize { CGSize size; };
struct TargetSize { CGSize targetSize; };
struct FillColorImage { NSColor color; CGSize size; };
struct WithSize { CGSize withSize; };
Ref<ZelImage> resizeImage_v3(const Ref<ZelImage>& image, ImageSize size);
Ref<ZelImage> resizeImage_v4(const Ref<ZelImage>& image, ImageSize size);
Ref<ZelImage> reduceImageToSize(const Ref<ZelImage>& image, TargetSize target);
Ref<ZelImage> reduceImageTo1x1Pixels(const Ref<ZelImage>& image);
Ref<ZelImage> getFillColorImage(FillColorImage what);
Ref<ZelImage> createImage(WithSize size);
} // namespace ZelImageHelper

} // namespace zel
