#include "layer_shape.h"

#include <algorithm>
#include <array>
#include <cmath>

using namespace zel;

namespace {

/// How much of the pixel around a place lies inside an ellipse: its distance to the edge, held to a pixel.
double insideEllipse(double x, double y, double across, double down)
{
    if (across <= 0 || down <= 0)
        return 0;
    const double u = x / across, v = y / down;
    const double slope = std::hypot(u / across, v / down);
    return slope == 0 ? 1 : std::clamp(0.5 + (1 - u * u - v * v) / (2 * slope), 0.0, 1.0);
}

double insideRectangle(double x, double y, double across, double down)
{
    return std::clamp(across - std::abs(x) + 0.5, 0.0, 1.0) * std::clamp(down - std::abs(y) + 0.5, 0.0, 1.0);
}

std::uint8_t byteOf(double value)
{
    return static_cast<std::uint8_t>(std::clamp(value, 0.0, 1.0) * 255 + 0.5);
}

} // namespace

Ref<ZelImage> drawShape(const ZelComposer::Layer::Shape& shape, std::int64_t width, std::int64_t height)
{
    const auto inside = shape.type == ZelComposer::Layer::Shape::ShapeType::circle ? insideEllipse : insideRectangle;
    const double across = static_cast<double>(width) / 2, down = static_cast<double>(height) / 2;
    const double stroke = shape.style.strokeWidth;
    const ZelColor color = shape.style.fillColor;

    ZelImageBitmapRGBA bitmap({.width = width, .height = height});
    const std::span<std::uint8_t> bytes = bitmap.bytes();
    std::size_t at = 0;
    for (std::int64_t row = 0; row < bitmap.height(); ++row) {
        for (std::int64_t column = 0; column < bitmap.width(); ++column, at += 4) {
            const double x = static_cast<double>(column) + 0.5 - across, y = static_cast<double>(row) + 0.5 - down;
            double cover = inside(x, y, across, down);
            if (!shape.style.fill)
                cover -= inside(x, y, across - stroke, down - stroke);
            const double alpha = cover * color.alpha;
            const std::array<std::uint8_t, 4> pixel = {byteOf(alpha), byteOf(color.red * alpha),
                                                       byteOf(color.green * alpha), byteOf(color.blue * alpha)};
            std::copy(pixel.begin(), pixel.end(), bytes.begin() + static_cast<std::ptrdiff_t>(at));
        }
    }
    return bitmap.zelImage();
}
