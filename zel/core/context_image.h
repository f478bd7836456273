#pragma once
#include <zel/export.h>
#include <zel/core/image.h>
#include <zel/platform/graphics/cg_context.h>

#include <span>
#include <tuple>

namespace zel {

/// An 8-bit RGBA premultiplied drawing context with its own pixels. Reads outside give transparent black.
class ZelContextImage {
public:
    struct Size { std::optional<CGSize> size; };
    struct Pixel { std::int64_t x, y; };

    explicit ZelContextImage(const Ref<const CGImage>& image);
    explicit ZelContextImage(const Ref<ZelImage>& image, Size size = {});
    explicit ZelContextImage(Size size);
    ZelContextImage(const ZelContextImage&) = delete;
    ZelContextImage& operator=(const ZelContextImage&) = delete;

    NSColor getPixelColor(Pixel at) const;
    CGFloat getPixelAlpha(Pixel at) const;
    std::tuple<std::uint8_t, std::uint8_t, std::uint8_t, std::uint8_t> getPixelColorComponents(Pixel at) const;
    ZelColor pixelZelColorNoAlpha(Pixel at) const;

    CGSize size;
    Ref<ZelImage> image;
    Ref<CGContext> context;                         ///< draws into the bitmap
    std::span<const std::uint8_t> bitmap() const;
    std::int64_t width = 0, height = 0;

private:
    struct State;
    Ref<State> state_;
};

} // namespace zel
