#pragma once
#include <zel/export.h>
#include <zel/core/context_image.h>

namespace zel {

/// A colour of four bytes.
struct ZelColor255 {
    std::uint8_t r = 0, g = 0, b = 0, a = 0;

    ZelColor255() = default;
    struct Alpha { std::uint8_t a; };
    ZelColor255(std::uint8_t r, std::uint8_t g, std::uint8_t b, Alpha alpha) : r(r), g(g), b(b), a(alpha.a) {}
    explicit ZelColor255(const ZelColor& color);
    explicit ZelColor255(const NSColor& color);      ///< truncated, low 8 bits kept
    static const ZelColor255 pureBlack;

    struct To { const ZelColor255& to; };
    struct By { CGFloat by; };
    std::int64_t simpleDistance(To other) const;
    NSColor nsColor() const;
    CGFloat lightness() const;
    ZelColor255 modifyLightness(By factor) const;
    ZelColor255 modifySaturation(By factor) const;
    friend bool operator==(const ZelColor255&, const ZelColor255&) = default;
};

/// Pixels as a value: alpha, red, green, blue, rows without gaps. Reads outside give zeros, writes outside do nothing.
class ZelImageBitmapRGBA {
public:
    struct Point {
        std::int64_t x = 0, y = 0;
        Point() = default;
        Point(std::int64_t x, std::int64_t y) : x(x), y(y) {}
        explicit Point(CGPoint point);
    };
    struct Size {
        std::int64_t width = 0, height = 0;
        Size() = default;
        Size(std::int64_t width, std::int64_t height) : width(width), height(height) {}
        explicit Size(CGSize size);
    };
    struct Rect {
        Point origin;
        Size size;
        Rect() = default;
        Rect(Point origin, Size size) : origin(origin), size(size) {}
        Rect(CGPoint origin, CGSize size);        ///< truncated; write the types out: {CGPoint{0, 0}, CGSize{1, 1}}
        explicit Rect(const CGRect& rect);
    };
    struct Dimensions { std::int64_t width, height; bool fillBlack = false; };
    struct Pixel { std::int64_t x, y; bool invertedY = false; };
    struct PixelColor255 { std::int64_t x, y; ZelColor255 color; bool invertedY = false; };
    struct PixelColor { std::int64_t x, y; ZelColor color; bool invertedY = false; };
    struct PixelBytes { std::int64_t x, y; std::uint8_t r, g, b, a; bool invertedY = false; };
    struct PixelAlpha { std::int64_t x, y; std::uint8_t alpha; std::optional<bool> invertedY = {}; };    ///< absent: counted from the bottom
    struct Red { std::uint8_t colorRed; };
    struct Tolerance { double tolerance; };
    struct ToColor { ZelColor toColor; bool invertedY = false; };
    struct Fill { ZelColor color; };
    struct Threshold { double threshold; };

    explicit ZelImageBitmapRGBA(const Ref<const CGImage>& image);
    explicit ZelImageBitmapRGBA(const Ref<ZelImage>& image);
    explicit ZelImageBitmapRGBA(const ZelContextImage& context);      ///< stored upside down
    explicit ZelImageBitmapRGBA(Dimensions dimensions);

    ZelColor255 getPixelZelColor255(Pixel at) const;
    ZelColor getPixelColor(Pixel at) const;
    std::uint8_t getPixelAlpha(Pixel at) const;
    std::uint8_t getPixelLuminance(Pixel at) const;
    void setPixel(PixelColor255 pixel);
    void setPixel(PixelColor pixel);
    void setPixel(PixelBytes pixel);
    void setPixelAlpha(PixelAlpha pixel);

    void fill(Red red, std::uint8_t green, std::uint8_t blue);
    void key(Red red, std::uint8_t green, std::uint8_t blue, Tolerance tolerance);
    void fillRect(const Rect& rect, ToColor color);
    void fillAlpha();
    void fillTransparentPixelWithColor(Fill color);
    void lightGate(Threshold threshold);
    void darkGate(Threshold threshold);
    void lightDarkGate(Threshold threshold);

    Ref<const CGImage> cgImage() const;
    Ref<ZelImage> zelImage() const;

    std::int64_t width() const;
    std::int64_t height() const;
    std::span<const std::uint8_t> bytes() const;
    std::span<std::uint8_t> bytes();                 ///< copies shared pixels first

private:
    std::int64_t width_ = 0, height_ = 0;
    Ref<std::vector<std::uint8_t>> bytes_;
};

} // namespace zel

template <>
struct std::hash<zel::ZelColor255> {
    std::size_t operator()(const zel::ZelColor255& color) const noexcept;
};
