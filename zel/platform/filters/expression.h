#pragma once
#include <zel/platform/filters/ci_image.h>

namespace zel {

/// An expression brought to one form as it is built: a source picture, one map that places it, and what of it is
/// visible.
struct Expression {
    Ref<const CGImage> source;
    CGAffineTransform map;       ///< from source pixels, lower left, to the expression's space
    CGRect extent;               ///< in the expression's space
    bool isCropped = false;      ///< the extent is less than the mapped source
    std::optional<CGRect> part;  ///< whole source pixels, lower left, beyond which nothing may be sampled
    Ref<const Expression> below; ///< in place of `source`: a cropped expression that was then turned

    static Expression of(const Ref<const CGImage>& image);
    [[nodiscard]] Expression transformed(const CGAffineTransform& transform) const;
    [[nodiscard]] Expression cropped(const CGRect& rect) const;
};

struct CIImage::Node {
    Expression expression;
};

/// Axes stay axes: scales, moves, mirrorings and quarter turns.
bool keepsAxes(const CGAffineTransform& map);
/// First `inner`, then `outer`.
CGAffineTransform composed(const CGAffineTransform& outer, const CGAffineTransform& inner);
/// Absent when the map flattens the plane or its figures are not finite.
std::optional<CGAffineTransform> inverted(const CGAffineTransform& map);
/// The bounding box of the mapped rectangle.
CGRect mapped(const CGRect& rect, const CGAffineTransform& map);
CGRect intersection(const CGRect& a, const CGRect& b);

} // namespace zel
