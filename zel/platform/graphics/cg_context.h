#pragma once
#include <zel/export.h>
#include <zel/platform/graphics/cg_image.h>

namespace zel {

/// How pictures are resampled when they are drawn at another size: nearest pixel; triangle; triangle; Lanczos 3. The
/// filters widen on reduction, so that nothing aliases.
enum class CGInterpolationQuality { none, low, medium, high };

/// A bitmap that can be drawn into: coordinates from the lower-left corner, y upward; rows are stored top to bottom.
/// Colours are sRGB. One thread at a time.
class ZEL_API CGContext {
public:
    /// Transparent black; null, with the reason noted, when a side is below 1, the size passes `operationBytes`, or the
    /// components have not 8 bits. The layout's colour space is left aside.
    static Ref<CGContext> make(const CGImage::Layout& layout);
    /// Lays the whole picture over what is there, scaled to fill the rectangle, clipped to the context. A rectangle
    /// with whole sides is moved to the nearest whole pixel, any other widened to whole pixels.
    void draw(const Ref<const CGImage>& image, const CGRect& rect, CGFloat opacity = 1);
    void setInterpolationQuality(CGInterpolationQuality quality); ///< `high` at first
    Ref<const CGImage> makeImage() const;                         ///< a copy of what is there now
    /// What is there now, in the layout asked for. Holds until the next call.
    std::span<const std::uint8_t> bytes() const;

private:
    CGContext();
    struct State;
    Ref<State> state_;
};

} // namespace zel
