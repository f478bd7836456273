#pragma once
#include <zel/core/context_image.h>
#include <zel/export.h>
#include <zel/platform/foundation/coding.h>

namespace zel {

/// A colour of four bytes. JSON: {"r":…,"g":…,"b":…,"a":…}, integers 0 to 255, all required.
struct ZEL_API ZelColor255 {
    std::uint8_t r = 0, g = 0, b = 0, a = 0;

    ZelColor255() = default;
    struct Alpha {
        std::uint8_t a;
    };
    ZelColor255(std::uint8_t red, std::uint8_t green, std::uint8_t blue, Alpha alpha)
        : r(red), g(green), b(blue), a(alpha.a)
    {
    }
    explicit ZelColor255(const ZelColor& color);
    explicit ZelColor255(const NSColor& color); ///< times 255, truncated, low 8 bits kept
    static const ZelColor255 pureBlack;

    struct To {
        const ZelColor255& to;
    };
    struct By {
        CGFloat by;
    };
    /// r·r' + g·g' + b·b': a sum of products, not of differences.
    std::int64_t simpleDistance(To other) const;
    NSColor nsColor() const;
    CGFloat lightness() const; ///< the largest of red, green, blue, 0...1
    /// Hue, saturation and alpha kept, brightness multiplied; a product above 1 counts as 1.
    ZelColor255 modifyLightness(By factor) const;
    /// Hue, brightness and alpha kept, saturation multiplied; a product above 1 counts as 1.
    ZelColor255 modifySaturation(By factor) const;
    friend bool operator==(const ZelColor255&, const ZelColor255&) = default;
};

/// Pixels as a value: four bytes a pixel in the order alpha, red, green, blue, rows without gaps; the pixel in column x
/// of stored row r begins at byte (x + r × width) × 4. Colours that were drawn are premultiplied; the operations below
/// take bytes as plain numbers. Stored row 0 is the top one, but for bitmaps made from a ZelContextImage, which are
/// upside down. `invertedY` counts rows from the bottom. Reads outside give zeros, writes outside do nothing. Copies
/// share their pixels until one of them is written.
class ZEL_API ZelImageBitmapRGBA {
public:
    struct ZEL_API Point {
        std::int64_t x = 0, y = 0;
        Point() = default;
        Point(std::int64_t column, std::int64_t row) : x(column), y(row) {}
        explicit Point(CGPoint point); ///< truncated
    };
    struct ZEL_API Size {
        std::int64_t width = 0, height = 0;
        Size() = default;
        Size(std::int64_t columns, std::int64_t rows) : width(columns), height(rows) {}
        explicit Size(CGSize size); ///< truncated
    };
    struct ZEL_API Rect {
        Point origin;
        Size size;
        Rect() = default;
        Rect(Point corner, Size sides) : origin(corner), size(sides) {}
        Rect(CGPoint origin, CGSize size); ///< truncated; write the types out: {CGPoint{0, 0}, CGSize{1, 1}}
        explicit Rect(const CGRect& rect);
    };
    struct Dimensions {
        std::int64_t width, height;
        bool fillBlack = false;
    };
    struct Pixel {
        std::int64_t x, y;
        bool invertedY = false;
    };
    struct PixelColor255 {
        std::int64_t x, y;
        ZelColor255 color;
        bool invertedY = false;
    };
    struct PixelColor {
        std::int64_t x, y;
        ZelColor color;
        bool invertedY = false;
    };
    struct PixelBytes {
        std::int64_t x, y;
        std::uint8_t r, g, b, a;
        bool invertedY = false;
    };
    struct PixelAlpha {
        std::int64_t x, y;
        std::uint8_t alpha;
        std::optional<bool> invertedY = {}; ///< absent: counted from the bottom
    };
    struct Red {
        std::uint8_t colorRed;
    };
    struct Tolerance {
        double tolerance;
    };
    struct ToColor {
        ZelColor toColor;
        bool invertedY = false;
    };
    struct Fill {
        ZelColor color;
    };
    struct Threshold {
        double threshold;
    };

    /// Of the picture's pixel size, upright.
    explicit ZelImageBitmapRGBA(const Ref<const CGImage>& image);
    /// Of the image's `size`, its pixels scaled to fill it, upright.
    explicit ZelImageBitmapRGBA(const Ref<ZelImage>& image);
    /// Of the context's size, stored upside down.
    explicit ZelImageBitmapRGBA(const ZelContextImage& context);
    /// Transparent black, or opaque black; tells its dimensions on the console. Sides below 0, or more pixels than
    /// `operationBytes` allows, give a bitmap of 0 × 0 (noted).
    explicit ZelImageBitmapRGBA(Dimensions dimensions);

    ZelColor255 getPixelZelColor255(Pixel at) const;
    ZelColor getPixelColor(Pixel at) const; ///< opaque: the pixel's alpha is not carried
    std::uint8_t getPixelAlpha(Pixel at) const;
    std::uint8_t getPixelLuminance(Pixel at) const; ///< (red + green + blue) / 3, whole
    void setPixel(PixelColor255 pixel);
    void setPixel(PixelColor pixel);
    void setPixel(PixelBytes pixel);
    void setPixelAlpha(PixelAlpha pixel);

    // Over all pixels, in one pass; what is not named stays.
    void fill(Red red, std::uint8_t green, std::uint8_t blue);
    /// Alpha 0 where the Euclidean distance of the colour bytes to the key is at most the tolerance.
    void key(Red red, std::uint8_t green, std::uint8_t blue, Tolerance tolerance);
    /// Clipped to the bitmap.
    void fillRect(const Rect& rect, ToColor color);
    void fillAlpha();                               ///< alpha 255
    void fillTransparentPixelWithColor(Fill color); ///< where alpha is 0, alpha included
    // A pixel's red + green + blue against the threshold × 765, truncated.
    void lightGate(Threshold threshold);     ///< below: black
    void darkGate(Threshold threshold);      ///< above: white
    void lightDarkGate(Threshold threshold); ///< below: black, else white

    /// Premultiplied, alpha first, sRGB; shares nothing with the bitmap. Null for a bitmap without pixels.
    Ref<const CGImage> cgImage() const;
    Ref<ZelImage> zelImage() const;

    std::int64_t width() const;
    std::int64_t height() const;
    std::span<const std::uint8_t> bytes() const;
    std::span<std::uint8_t> bytes(); ///< copies shared pixels first

private:
    ZelImageBitmapRGBA(std::int64_t width, std::int64_t height);
    std::optional<std::size_t> offset(std::int64_t x, std::int64_t y, bool invertedY) const;
    void write(std::int64_t x, std::int64_t y, bool invertedY, std::uint8_t a, std::uint8_t r, std::uint8_t g,
               std::uint8_t b);
    template <class Change>
    void forEachPixel(Change change);

    std::int64_t width_ = 0, height_ = 0;
    Ref<std::vector<std::uint8_t>> bytes_;
};

template <>
ZEL_API std::string encode<ZelColor255>(const ZelColor255& color);
template <>
ZEL_API ZelColor255 decode<ZelColor255>(std::string_view text);

} // namespace zel

template <>
struct ZEL_API std::hash<zel::ZelColor255> {
    std::size_t operator()(const zel::ZelColor255& color) const noexcept;
};
