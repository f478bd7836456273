#pragma once
#include <zel/export.h>
#include <zel/platform/foundation/geometry.h>
#include <zel/platform/foundation/ref.h>

namespace zel {

/// The platform colour: red, green, blue, alpha, 0...1, straight alpha, sRGB.
struct NSColor {
    CGFloat redComponent = 0, greenComponent = 0, blueComponent = 0, alphaComponent = 1;
    struct Hsb { CGFloat hue, saturation, brightness, alpha; };
    static NSColor fromHsb(Hsb hsb);
    Hsb hsb() const;
    friend bool operator==(const NSColor&, const NSColor&) = default;
};

/// A colour: red, green, blue, alpha, 0...1, straight alpha.
struct ZelColor {
    CGFloat red = 0, green = 0, blue = 0, alpha = 1;

    ZelColor() = default;
    ZelColor(CGFloat red, CGFloat green, CGFloat blue, CGFloat alpha = 1) : red(red), green(green), blue(blue), alpha(alpha) {}
    explicit ZelColor(const NSColor& color);
    static ZelColor fromBytes(std::uint8_t red, std::uint8_t green, std::uint8_t blue, std::uint8_t alpha = 255);
    static const ZelColor pureWhite;

    std::uint8_t redB255() const;     ///< times 255, truncated; held to 0...255
    std::uint8_t greenB255() const;
    std::uint8_t blueB255() const;
    std::uint8_t alphaB255() const;
    int green255() const;
    NSColor getColor() const;
    friend bool operator==(const ZelColor&, const ZelColor&) = default;
};

namespace ZelFont {
struct Font {
    std::string name = "Courier";
    CGFloat size = 64;
    struct CourierWithSize { CGFloat withSize; };
    static Font courier(CourierWithSize size);
    friend bool operator==(const Font&, const Font&) = default;
};
} // namespace ZelFont

} // namespace zel
