#include "scenes.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace cookbook {

using namespace zel;

namespace {

/// Straight colours and alpha, 0...1.
struct Color {
    double r, g, b, a = 1;
};

Color mix(Color from, Color to, double part)
{
    const auto between = [part](double a, double b) { return a + (b - a) * part; };
    return {between(from.r, to.r), between(from.g, to.g), between(from.b, to.b), between(from.a, to.a)};
}

/// How much of a pixel lies inside of an edge at that distance; negative inside. Distances in parts of the height.
double inside(double distance)
{
    constexpr double soft = 0.003;
    return std::clamp(0.5 - distance / soft, 0.0, 1.0);
}

double box(double x, double y, double halfWidth, double halfHeight)
{
    return std::max(std::abs(x) - halfWidth, std::abs(y) - halfHeight);
}

/// `colorAt(x, y)`: y from 0 at the top to 1 at the bottom, x by the same measure.
template <class ColorAt>
Ref<ZelImage> drawn(int width, int height, ColorAt colorAt)
{
    ZelImageBitmapRGBA bitmap({.width = width, .height = height});
    const std::span<std::uint8_t> bytes = bitmap.bytes();
    const auto byte = [](double value) {
        return static_cast<std::uint8_t>(std::lround(std::clamp(value, 0.0, 1.0) * 255));
    };
    std::size_t at = 0;
    for (int row = 0; row < height; ++row)
        for (int column = 0; column < width; ++column) {
            const Color color = colorAt((column + 0.5) / height, (row + 0.5) / height);
            bytes[at++] = byte(color.a);
            for (const double component : {color.r, color.g, color.b})
                bytes[at++] = byte(component * color.a);
        }
    return bitmap.zelImage();
}

Color seasideAt(double x, double y)
{
    constexpr double horizon = 0.56;
    Color color = mix({0.33, 0.58, 0.86}, {0.97, 0.92, 0.80}, std::clamp(y / horizon, 0.0, 1.0));
    color = mix(color, {1.0, 0.97, 0.82}, inside(std::hypot(x - 1.12, y - 0.22) - 0.06));
    const double depth = (y - horizon) / (1 - horizon);
    const double wave = 0.5 + 0.5 * std::sin(x * 40 / (depth + 0.15) + 9 * std::sin(y * 160));
    const Color sea = mix(mix({0.24, 0.52, 0.62}, {0.04, 0.20, 0.33}, std::clamp(depth, 0.0, 1.0)), {0.75, 0.88, 0.90},
                          0.16 * wave * wave);
    color = mix(color, sea, inside(horizon - y));
    // A boat, a rock, and the lighthouse on it, from behind to the front.
    color = mix(color, {0.97, 0.96, 0.93}, inside(std::max(y - 0.60, 0.47 - y + std::abs(x - 0.95) * 2.4)));
    color = mix(color, {0.45, 0.22, 0.14}, inside(box(x - 0.95, y - 0.613, 0.05, 0.012)));
    const double rough = 0.012 * std::sin(x * 70) + 0.006 * std::sin(x * 190);
    color = mix(color, {0.29, 0.25, 0.24}, inside((std::hypot((x - 0.42) * 0.45, y - 0.68) - 0.105) + rough));
    const double taper = 0.030 + 0.028 * (y - 0.2);
    const bool isRed = static_cast<int>(std::floor(y * 14)) % 2 == 0;
    const double shade = 1 - 0.45 * std::clamp((x - 0.40) / 0.05, 0.0, 1.0);
    const Color paint = isRed ? Color{0.80 * shade, 0.16 * shade, 0.14 * shade} : Color{shade, shade, 0.97 * shade};
    color = mix(color, paint, inside(box(x - 0.42, y - 0.40, taper, 0.20)));
    color = mix(color, {0.98, 0.84, 0.36}, inside(box(x - 0.42, y - 0.175, 0.022, 0.028)));
    return mix(color, {0.30, 0.10, 0.10}, inside(std::max(y - 0.15, 0.10 - y + std::abs(x - 0.42) * 1.4)));
}

} // namespace

Ref<ZelImage> seaside(int height, double slope)
{
    const double angle = slope * std::numbers::pi / 180, cosine = std::cos(angle), sine = std::sin(angle);
    return drawn(height * 3 / 2, height, [&](double x, double y) {
        const double right = x - 0.75, down = y - 0.5;
        return seasideAt(0.75 + right * cosine + down * sine, 0.5 - right * sine + down * cosine);
    });
}

Ref<ZelImage> balloon()
{
    return drawn(600, 600, [](double x, double y) {
        const double light = 0.03 * std::sin(x * 5) + 0.02 * std::sin(y * 7 + 1); // no screen is lit evenly
        Color color{0.10 + light, 0.74 + light, 0.22 + light};
        const double right = x - 0.5, down = y - 0.36;
        // The hull: a ball that narrows towards its mouth.
        const double narrow = std::clamp((y - 0.45) / 0.25, 0.0, 1.0);
        const double reach = std::sqrt(std::max(0.0, 0.29 * 0.29 - down * down)) * (1 - 0.25 * narrow) + 0.05 * narrow;
        const double hull = std::max({std::abs(right) - reach, 0.08 - y, y - 0.64});
        const double around = std::asin(std::clamp(right / std::max(reach, 1e-6), -1.0, 1.0)); // which strip of cloth
        const int strip = static_cast<int>(std::floor(around / std::numbers::pi * 8 + 100));
        const double shade = 0.62 + 0.38 * std::cos(around + 0.6);
        constexpr Color cloth[] = {{0.86, 0.16, 0.18}, {0.98, 0.78, 0.20}, {0.95, 0.93, 0.88}};
        const Color& now = cloth[strip % 3];
        const double rope = std::abs(std::abs(right) - 0.045 - (0.64 - y) * 0.12) - 0.003;
        color = mix(color, {0.25, 0.20, 0.15}, inside(std::max({rope, 0.60 - y, y - 0.82})));
        color = mix(color, {now.r * shade, now.g * shade, now.b * shade}, inside(hull));
        const double weave = 0.85 + 0.15 * std::sin(x * 220) * std::sin(y * 220);
        return mix(color, {0.52 * weave, 0.33 * weave, 0.16 * weave}, inside(box(right, y - 0.86, 0.055, 0.045)));
    });
}

Ref<ZelImage> shapes()
{
    return drawn(900, 600, [](double x, double y) {
        Color color{1, 1, 1};
        const auto put = [&](double distance, Color paint, double right, double down) {
            const double shade = 1 - 0.9 * std::clamp(right + down, -0.2, 0.2);
            color = mix(color, {paint.r * shade, paint.g * shade, paint.b * shade}, inside(distance));
        };
        const auto polar = [](double right, double down) { return std::atan2(down, right); };
        {
            const double right = x - 0.27, down = y - 0.28, turn = polar(right, down);
            put(std::hypot(right, down) - 0.14 - 0.045 * std::cos(5 * turn), {0.92, 0.55, 0.70}, right, down);
        }
        {
            const double right = x - 0.77, down = y - 0.30;
            put(std::abs(std::hypot(right, down) - 0.13) - 0.045, {0.93, 0.66, 0.18}, right, down);
        }
        {
            const double right = x - 1.23, down = y - 0.30;
            put(std::max(down - 0.12, -down - 0.16 + std::abs(right) * 1.75), {0.20, 0.50, 0.40}, right, down);
        }
        {
            const double right = x - 0.45, down = y - 0.74, lean = right * 0.8 + down * 0.6;
            put(std::hypot(lean / 1.9, down * 0.8 - right * 0.6) - 0.10, {0.30, 0.42, 0.78}, right, down);
        }
        {
            const double right = x - 1.02, down = y - 0.75,
                         edge = std::hypot(std::max(std::abs(right) - 0.09, 0.0), std::max(std::abs(down) - 0.09, 0.0));
            put(edge - 0.05, {0.72, 0.27, 0.22}, right, down);
        }
        return color;
    });
}

Ref<ZelImage> logo()
{
    return drawn(300, 300, [](double x, double y) {
        const double right = x - 0.5, down = y - 0.5, radius = std::hypot(right, down);
        const double ring = std::abs(radius - 0.43) - 0.04;
        const double needle =
            std::max(std::abs(right * 0.8 - down * 0.6) * 2.4 + std::abs(right * 0.6 + down * 0.8) - 0.3, -1.0);
        return Color{1, 1, 1, std::max(inside(ring), inside(needle))};
    });
}

} // namespace cookbook
