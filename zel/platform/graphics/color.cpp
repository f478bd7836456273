#include <zel/platform/graphics/color.h>

#include <zel/platform/foundation/guards.h>

#include <algorithm>
#include <cmath>

namespace zel {
namespace {

std::uint8_t byteOf(CGFloat component)
{
    return static_cast<std::uint8_t>(truncated(component * 255.0, 0, 255));
}

// Not a number becomes 0: std::clamp would let it through.
CGFloat unit(CGFloat value)
{
    return value > 0 ? std::min(value, 1.0) : 0.0;
}

/// The way through hue and saturation costs a few units in the last place, which truncation to bytes would turn into a
/// whole step down: a component that close to a byte's value is that value.
CGFloat snappedToByte(CGFloat component)
{
    const CGFloat nearest = std::round(component * 255.0);
    return std::fabs(component * 255.0 - nearest) < 1e-9 ? nearest / 255.0 : component;
}

} // namespace

// Foley and van Dam, Computer Graphics, the hexcone model.
NSColor NSColor::fromHsb(Hsb hsb)
{
    const CGFloat saturation = unit(hsb.saturation), value = unit(hsb.brightness);
    const CGFloat turns = std::isfinite(hsb.hue) ? hsb.hue - std::floor(hsb.hue) : 0.0;
    const CGFloat sixth = turns * 6.0;
    const int sector = std::min(static_cast<int>(sixth), 5);
    const CGFloat within = sixth - sector;
    const CGFloat low = snappedToByte(value * (1.0 - saturation));
    const CGFloat falling = snappedToByte(value * (1.0 - saturation * within));
    const CGFloat rising = snappedToByte(value * (1.0 - saturation * (1.0 - within)));
    const CGFloat high = snappedToByte(value);
    const CGFloat alpha = unit(hsb.alpha);
    switch (sector) {
    case 0:
        return {high, rising, low, alpha};
    case 1:
        return {falling, high, low, alpha};
    case 2:
        return {low, high, rising, alpha};
    case 3:
        return {low, falling, high, alpha};
    case 4:
        return {rising, low, high, alpha};
    default:
        return {high, low, falling, alpha};
    }
}

NSColor::Hsb NSColor::hsb() const
{
    const CGFloat high = std::max({redComponent, greenComponent, blueComponent});
    const CGFloat low = std::min({redComponent, greenComponent, blueComponent});
    const CGFloat range = high - low;
    if (!(range > 0))
        return {0, 0, high, alphaComponent};
    CGFloat sixths = 0;
    if (high == redComponent)
        sixths = (greenComponent - blueComponent) / range;
    else if (high == greenComponent)
        sixths = 2.0 + (blueComponent - redComponent) / range;
    else
        sixths = 4.0 + (redComponent - greenComponent) / range;
    return {(sixths < 0 ? sixths + 6.0 : sixths) / 6.0, high > 0 ? range / high : 0.0, high, alphaComponent};
}

const ZelColor ZelColor::pureWhite{1, 1, 1, 1};

ZelColor::ZelColor(const NSColor& color)
    : red(color.redComponent), green(color.greenComponent), blue(color.blueComponent), alpha(color.alphaComponent)
{
}

ZelColor ZelColor::fromBytes(std::uint8_t red, std::uint8_t green, std::uint8_t blue, std::uint8_t alpha)
{
    return {red / 255.0, green / 255.0, blue / 255.0, alpha / 255.0};
}

std::uint8_t ZelColor::redB255() const
{
    return byteOf(red);
}
std::uint8_t ZelColor::greenB255() const
{
    return byteOf(green);
}
std::uint8_t ZelColor::blueB255() const
{
    return byteOf(blue);
}
std::uint8_t ZelColor::alphaB255() const
{
    return byteOf(alpha);
}
int ZelColor::green255() const
{
    return greenB255();
}
NSColor ZelColor::getColor() const
{
    return {red, green, blue, alpha};
}

ZelFont::Font ZelFont::Font::courier(CourierWithSize size)
{
    return {"Courier", size.withSize};
}

} // namespace zel
