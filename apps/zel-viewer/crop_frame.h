#pragma once
#include <zel/platform/foundation/geometry.h>

#include <optional>

namespace zel::viewer {

/// The frame of a crop in progress: always inside the picture, of one ratio, moved and zoomed. Pixels, from the
/// picture's top left.
class CropFrame {
public:
    /// Around all of the picture, or the part that was cut out before, in fractions of its sides.
    explicit CropFrame(CGSize picture, std::optional<CGRect> part = {});

    /// Width ÷ height; absent: the picture's own. The frame keeps its middle and zoom.
    void setRatio(std::optional<double> ratio);
    [[nodiscard]] double ratio() const { return ratio_; }
    /// 1: as large as the ratio allows.
    void setZoom(double zoom);
    [[nodiscard]] double zoom() const { return zoom_; }

    enum class Corner { topLeft, topRight, bottomLeft, bottomRight };
    void moveBy(CGSize distance);
    /// Pulls a corner to a point, as near as ratio and picture allow; the opposite one stays.
    void pull(Corner corner, CGPoint to);

    [[nodiscard]] CGRect rect() const;
    /// In fractions of the picture's sides; absent where that is all of it.
    [[nodiscard]] std::optional<CGRect> part() const;

private:
    [[nodiscard]] CGSize sizeAt(double zoom) const;

    CGSize picture_;
    double ratio_, zoom_ = 1;
    CGPoint middle_;
};

} // namespace zel::viewer
