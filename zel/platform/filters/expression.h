#pragma once
#include <zel/engine/cube.h>
#include <zel/engine/tone.h>
#include <zel/platform/filters/ci_image.h>

#include <variant>

namespace zel {

/// A table for each colour, the same for all three.
using Tone = Ref<const engine::ToneTable>;
using Cube = Ref<const engine::ColorCube>;
/// The amount of luma's detail that is added.
struct LumaSharpening {
    double amount = 0;
};
using Filter = std::variant<Tone, Cube, LumaSharpening>;

/// An expression brought to one form as it is built: a source picture, one map that places it, what filters make of
/// it there, and what of it is visible.
struct Expression {
    Ref<const CGImage> source;
    CGAffineTransform map;       ///< from source pixels, lower left, to the expression's space
    CGRect domain;               ///< in the expression's space: where there are pixels that filters see
    CGRect extent;               ///< of the domain: what is visible
    bool isCropped = false;      ///< the extent is less than the mapped source
    bool isCovered = false;      ///< a turned source that has no gap anywhere in the domain
    std::optional<CGRect> part;  ///< whole source pixels, lower left, beyond which nothing may be sampled
    Ref<const Expression> below; ///< in place of `source`: what has to be rendered before it is placed
    std::vector<Filter> filters; ///< in their order

    static Expression of(const Ref<const CGImage>& image);
    [[nodiscard]] Expression transformed(const CGAffineTransform& transform) const;
    [[nodiscard]] Expression cropped(const CGRect& rect) const;
    /// Turned about its centre, counterclockwise, and enlarged until no corner of the extent is empty.
    [[nodiscard]] Expression straightened(CGFloat radians) const;
    [[nodiscard]] Expression filtered(const Filter& filter) const;

private:
    [[nodiscard]] Expression onTop(const CGAffineTransform& transform) const;
};

struct CIImage::Node {
    Expression expression;
    Ref<const CGImage> untouched = {}; ///< the source of an expression to which nothing was done
};

/// How the filters make and read expressions.
struct CIImageAccess {
    static const Expression& expression(const CIImage& image);
    static Ref<const CIImage> make(Expression expression);
};

/// The picture that an expression shows as it is; null where anything was done to it.
Ref<const CGImage> untouchedSource(const CIImage& image);

/// Axes stay axes: scales, moves, mirrorings and quarter turns.
bool keepsAxes(const CGAffineTransform& map);
/// Moves alone, or nothing at all.
bool onlyMoves(const CGAffineTransform& map);
/// First `inner`, then `outer`.
CGAffineTransform composed(const CGAffineTransform& outer, const CGAffineTransform& inner);
/// Absent when the map flattens the plane or its figures are not finite.
std::optional<CGAffineTransform> inverted(const CGAffineTransform& map);
/// The bounding box of the mapped rectangle.
CGRect mapped(const CGRect& rect, const CGAffineTransform& map);
CGRect intersection(const CGRect& a, const CGRect& b);

} // namespace zel
