// Draws a picture and saves it: an evening landscape or a round logo on transparent ground, pixel by pixel, or a canvas
// that shows both, and the one with the other in its corner.
//   draw_picture landscape|logo|overview OUTPUT.png
#include <zel/zel.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <iostream>
#include <string_view>

using namespace zel;

namespace {

struct Color {
    double r, g, b; // 0...1
};

Color mix(Color a, Color b, double t)
{
    return {a.r + (b.r - a.r) * t, a.g + (b.g - a.g) * t, a.b + (b.b - a.b) * t};
}

/// 0 below `from`, 1 above `to`, an even curve in between.
double smooth(double from, double to, double x)
{
    const double t = std::clamp((x - from) / (to - from), 0.0, 1.0);
    return t * t * (3 - 2 * t);
}

/// The same number in 0...1 for the same whole coordinates.
double noiseAt(std::int64_t x, std::int64_t y)
{
    std::uint64_t bits =
        static_cast<std::uint64_t>(x) * 0x9E3779B97F4A7C15u + static_cast<std::uint64_t>(y) * 0xC2B2AE3D27D4EB4Fu;
    bits = (bits ^ (bits >> 29)) * 0xBF58476D1CE4E5B9u;
    return static_cast<double>((bits ^ (bits >> 32)) & 0xFFFF) / 65535.0;
}

/// Noise that is smooth between whole coordinates.
double softNoise(double x, double y)
{
    const double left = std::floor(x), top = std::floor(y);
    const auto column = static_cast<std::int64_t>(left), row = static_cast<std::int64_t>(top);
    const double tx = smooth(0, 1, x - left), ty = smooth(0, 1, y - top);
    const double upper = noiseAt(column, row) + (noiseAt(column + 1, row) - noiseAt(column, row)) * tx;
    const double lower = noiseAt(column, row + 1) + (noiseAt(column + 1, row + 1) - noiseAt(column, row + 1)) * tx;
    return upper + (lower - upper) * ty;
}

/// Softer and finer noise added up: clouds, ridges.
double cloudNoise(double x, double y)
{
    double sum = 0, weight = 0.5;
    for (int octave = 0; octave < 5; ++octave, x *= 2, y *= 2, weight /= 2)
        sum += softNoise(x + octave * 17.0, y) * weight;
    return sum;
}

/// The colour of the landscape at a place of the unit picture: x 0...1.5 to the right, y 0...1 downward.
Color landscape(double x, double y)
{
    Color color = mix({0.16, 0.27, 0.50}, {0.98, 0.72, 0.45}, smooth(0.0, 0.62, y));
    const double clouds = smooth(0.48, 0.75, cloudNoise(x * 3, y * 9)) * (1 - smooth(0.35, 0.62, y));
    color = mix(color, {1.0, 0.86, 0.78}, clouds * 0.7);

    const double fromSun = std::hypot(x - 0.62, y - 0.33);
    color = mix(color, {1.0, 0.83, 0.52}, 0.8 * std::exp(-fromSun * 9));
    color = mix(color, {1.0, 0.97, 0.86}, 1 - smooth(0.060, 0.063, fromSun));

    // Ridges from the far to the near one, each darker and lower than the one before.
    for (int ridge = 0; ridge < 4; ++ridge) {
        const double top = 0.50 + ridge * 0.11 - 0.17 * cloudNoise(x * (1.5 + ridge * 0.6) + ridge * 31.0, ridge * 7.0);
        if (y < top)
            continue;
        const Color far{0.55, 0.45, 0.52}, near{0.07, 0.12, 0.11};
        const double grass = softNoise(x * 900, y * 260) * 0.05 * ridge;
        color = mix(mix(far, near, ridge / 3.0), {0.35, 0.42, 0.20}, grass + 0.10 * smooth(top + 0.05, top, y));
    }
    return color;
}

/// How much of the logo covers a place: x, y from -1 to 1, y downward. A ring around the letter Z.
double logo(double x, double y)
{
    const double radius = std::hypot(x, y), edge = 0.012;
    const double ring = smooth(0.80, 0.80 + edge, radius) * (1 - smooth(0.96 - edge, 0.96, radius));
    const double inside = (1 - smooth(0.42 - edge, 0.42, std::abs(x))) * (1 - smooth(0.46 - edge, 0.46, std::abs(y)));
    const double bars = smooth(0.30, 0.30 + edge, std::abs(y));
    const double diagonal = 1 - smooth(0.115 - edge, 0.115, std::abs(x * 0.74 + y * 0.67) * 0.95);
    return std::max(ring, inside * std::max(bars, diagonal));
}

std::uint8_t byteOf(double value)
{
    return static_cast<std::uint8_t>(std::clamp(value, 0.0, 1.0) * 255 + 0.5);
}

/// A bitmap of that size: `pixel(x, y)` gives alpha, red, green, blue, colours multiplied by alpha.
template <class PixelAt>
Ref<ZelImage> draw(std::int64_t width, std::int64_t height, PixelAt pixel)
{
    ZelImageBitmapRGBA bitmap({.width = width, .height = height});
    const std::span<std::uint8_t> bytes = bitmap.bytes();
    std::size_t at = 0;
    for (std::int64_t y = 0; y < height; ++y) {
        for (std::int64_t x = 0; x < width; ++x, at += 4) {
            const std::array<std::uint8_t, 4> value = pixel(x, y);
            std::copy(value.begin(), value.end(), bytes.begin() + static_cast<std::ptrdiff_t>(at));
        }
    }
    return bitmap.zelImage();
}

Ref<ZelImage> drawLandscape()
{
    constexpr std::int64_t width = 3000, height = 2000;
    return draw(width, height, [](std::int64_t x, std::int64_t y) {
        const Color color = landscape((static_cast<double>(x) + 0.5) / height, (static_cast<double>(y) + 0.5) / height);
        const double grain = (noiseAt(x, y + 99991) - 0.5) * 0.03; // as a camera adds it
        return std::array<std::uint8_t, 4>{255, byteOf(color.r + grain), byteOf(color.g + grain),
                                           byteOf(color.b + grain)};
    });
}

Ref<ZelImage> drawLogo()
{
    constexpr std::int64_t side = 512;
    return draw(side, side, [](std::int64_t x, std::int64_t y) {
        const std::uint8_t cover =
            byteOf(logo((static_cast<double>(x) + 0.5) / 256 - 1, (static_cast<double>(y) + 0.5) / 256 - 1));
        return std::array<std::uint8_t, 4>{cover, cover, cover, cover}; // white
    });
}

/// A layer of a canvas 900 pixels wide and 200 high: the picture as large as it is, its centre at (x, 100).
ZelCanvasLayer layerAt(double x, const Ref<ZelImage>& picture)
{
    return ZelCanvasLayer(
        {.id = "",
         .source = {.identification = ZelCanvasLayer::Source::Identification::image, .image = picture},
         .spatialConforming = ZelSpatialConforming::none,
         .transform = {.position = {x / 900, 0.5}}});
}

/// Landscape, logo, and the landscape with the logo in its corner.
Ref<ZelImage> drawOverview()
{
    const Ref<ZelImage> picture = resize(drawLandscape(), {.to = {288, 192}}), mark = drawLogo();
    const ZelWatermark corner{.position = ZelWatermark::Position::bottomRight,
                              .scale = {.policy = ZelWatermark::Scale::Policy::largestSideScale, .scale = 0.3},
                              .opacity = 0.6};
    const Ref<ZelImage> ground = ZelImageHelper::getFillColorImage({.color = {0.16, 0.2, 0.26, 1}, .size = {288, 192}});

    ZelCanvas canvas(ZelCanvas::Size(900, 200));
    canvas.layerList = {layerAt(146, picture), layerAt(450, ground), layerAt(450, resize(mark, {.toHeight = 150})),
                        layerAt(754, watermark(picture, {.with = mark, .using_ = corner}))};
    canvas.loadAllLayers().get();
    return canvas.getImage();
}

} // namespace

int main(int count, char** arguments)
{
    const std::string_view what = count == 3 ? arguments[1] : "";
    if (what != "landscape" && what != "logo" && what != "overview") {
        std::cerr << "draw_picture landscape|logo|overview OUTPUT.png\n";
        return 2;
    }
    Console::setSink({}); // the pictures alone
    const Ref<ZelImage> picture = what == "logo" ? drawLogo() : what == "overview" ? drawOverview() : drawLandscape();
    if (!saveToPNG(picture, {.url = URL::file(arguments[2])})) {
        std::cerr << "draw_picture: " << ZelFailure::last().message << '\n';
        return 1;
    }
}
