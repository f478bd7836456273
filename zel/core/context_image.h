#pragma once
#include <zel/core/image.h>
#include <zel/export.h>
#include <zel/platform/graphics/cg_context.h>

#include <span>
#include <tuple>

namespace zel {

/// A drawing context of red, green, blue, alpha, 8 bits each, premultiplied, sRGB, with its own pixels: for reading
/// single pixels. Rows top to bottom without gaps; the pixel at (x, y) begins at byte (x + y × width) × 4, y = 0 at the
/// top. Reads outside give transparent black. Where there is nothing to draw (no picture, no pixels, a side below 1,
/// too large), the object stays usable and empty, and the failure is noted. One thread at a time.
class ZEL_API ZelContextImage {
public:
    struct Size {
        std::optional<CGSize> size;
    };
    struct Pixel {
        std::int64_t x, y;
    };

    /// The picture at its pixel size.
    explicit ZelContextImage(const Ref<const CGImage>& image);
    /// The image's `cgImage`, scaled to fill the size, by default the image's own.
    explicit ZelContextImage(const Ref<ZelImage>& image, Size size = {});
    /// Transparent black.
    explicit ZelContextImage(Size size);
    ZelContextImage(const ZelContextImage&) = delete;
    ZelContextImage& operator=(const ZelContextImage&) = delete;

    NSColor getPixelColor(Pixel at) const; ///< the stored (premultiplied) bytes ÷ 255
    CGFloat getPixelAlpha(Pixel at) const; ///< 0...1
    std::tuple<std::uint8_t, std::uint8_t, std::uint8_t, std::uint8_t> getPixelColorComponents(Pixel at) const;
    ZelColor pixelZelColorNoAlpha(Pixel at) const; ///< the stored colour bytes, opaque

    CGSize size;
    Ref<ZelImage> image;    ///< what was drawn; null for a blank context
    Ref<CGContext> context; ///< draws into the bitmap; null where a side is below 1
    std::span<const std::uint8_t> bitmap() const;
    std::int64_t width = 0, height = 0; ///< the size, truncated

private:
    void makeContext();
};

} // namespace zel
