#pragma once
#include <zel/export.h>
#include <zel/platform/graphics/cg_image.h>

namespace zel {

enum class CGInterpolationQuality { none, low, medium, high };

/// A bitmap that can be drawn into: coordinates from the lower-left corner, y upward; rows are stored top to bottom.
class CGContext {
public:
    static Ref<CGContext> make(const CGImage::Layout& layout);    ///< transparent black; null when a side is below 1
    void draw(const Ref<const CGImage>& image, const CGRect& rect, CGFloat opacity = 1);
    void setInterpolationQuality(CGInterpolationQuality quality);
    Ref<const CGImage> makeImage() const;
    std::span<const std::uint8_t> bytes() const;

private:
    CGContext();
    struct State;
    Ref<State> state_;
};

} // namespace zel
