#pragma once
#include <zel/engine/pixel_buffer.h>
#include <zel/platform/filters/point_filters.h>
#include <zel/platform/graphics/render.h>

// Where an expression's source comes to lie among the pixels of a result.
namespace zel {

/// Whole pixels of a canvas.
struct Place {
    int left = 0, top = 0, width = 0, height = 0;
    [[nodiscard]] bool empty() const { return width < 1 || height < 1; }
    friend bool operator==(const Place&, const Place&) = default;
};

/// A result under way: `from` in the expression's space fills its pixels.
struct Canvas {
    CGRect from;
    double scaleX = 1, scaleY = 1; ///< pixels a unit, a little above 1 where a side was rounded up
    int width = 0, height = 0;

    /// Sides rounded up to whole pixels; absent, with the reason noted, when they are none or too many.
    static std::optional<Canvas> make(const CGRect& from);
    /// A part of this one, which may reach beyond it, as a canvas of its own.
    [[nodiscard]] Canvas part(const Place& place) const;
    /// From the expression's space, lower left, to pixels, top left.
    [[nodiscard]] PixelRect onPixels(const CGRect& rect) const;
    /// The whole pixels that a rectangle touches, within `bounds`.
    [[nodiscard]] Place touched(const CGRect& rect, const Place& bounds) const;
    [[nodiscard]] Place whole() const { return {0, 0, width, height}; }
};

/// Whether every pixel that the expression's domain touches has a pixel of the source, so that only its own alpha
/// counts.
bool isGapless(const Expression& expression);

/// Draws what the domain shows of the source (or of the rendered expression below) onto the pixels of the canvas, sRGB,
/// premultiplied, and sends it through the filters; pixels that the domain does not touch become clear. False, with the
/// reason noted.
bool placeSource(const Expression& expression, const CGImage& source, const Canvas& canvas,
                 const engine::Pixels& pixels, const PointFilters& filters);

} // namespace zel
