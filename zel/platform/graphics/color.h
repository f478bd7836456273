#pragma once
#include <zel/export.h>
#include <zel/platform/foundation/geometry.h>
#include <zel/platform/foundation/ref.h>

namespace zel {

/// A colour as drawing knows it: red, green, blue, alpha, 0...1, straight alpha, sRGB. Values outside are kept.
struct ZEL_API NSColor {
    CGFloat redComponent = 0, greenComponent = 0, blueComponent = 0, alphaComponent = 1;

    /// Hue 0...1 from red over green and blue back to red; brightness is the largest of red, green and blue.
    struct Hsb {
        CGFloat hue, saturation, brightness, alpha;
    };
    /// Saturation, brightness and alpha are held to 0...1, the hue is taken modulo 1. A colour that came from bytes and
    /// goes back through its own `hsb()` gives the same bytes.
    static NSColor fromHsb(Hsb hsb);
    /// Hue and saturation of a grey are 0.
    Hsb hsb() const;
    friend bool operator==(const NSColor&, const NSColor&) = default;
};

/// A colour: red, green, blue, alpha, 0...1, straight alpha. JSON: {"red":…,"green":…,"blue":…,"alpha":…}.
struct ZEL_API ZelColor {
    CGFloat red = 0, green = 0, blue = 0, alpha = 1;

    ZelColor() = default;
    ZelColor(CGFloat redPart, CGFloat greenPart, CGFloat bluePart, CGFloat alphaPart = 1)
        : red(redPart), green(greenPart), blue(bluePart), alpha(alphaPart)
    {
    }
    explicit ZelColor(const NSColor& color);
    /// Each byte divided by 255.
    static ZelColor fromBytes(std::uint8_t red, std::uint8_t green, std::uint8_t blue, std::uint8_t alpha = 255);
    static const ZelColor pureWhite;

    std::uint8_t redB255() const; ///< times 255, truncated; held to 0...255, not a number gives 0
    std::uint8_t greenB255() const;
    std::uint8_t blueB255() const;
    std::uint8_t alphaB255() const;
    int green255() const; ///< the same figure as an integer
    NSColor getColor() const;
    friend bool operator==(const ZelColor&, const ZelColor&) = default;
};

namespace ZelFont {
/// A font by name and size in points. JSON: {"name":"Courier","size":64.0}.
struct ZEL_API Font {
    std::string name = "Courier";
    CGFloat size = 64;
    struct CourierWithSize {
        CGFloat withSize;
    };
    static Font courier(CourierWithSize size);
    friend bool operator==(const Font&, const Font&) = default;
};
} // namespace ZelFont

} // namespace zel
