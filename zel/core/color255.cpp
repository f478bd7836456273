#include <zel/core/bitmap.h>

#include <zel/platform/foundation/guards.h>

namespace zel {
namespace {

std::uint8_t lowByte(CGFloat component)
{
    return static_cast<std::uint8_t>(truncated(component * 255.0) & 0xFF);
}

} // namespace

const ZelColor255 ZelColor255::pureBlack{0, 0, 0, {.a = 255}};

ZelColor255::ZelColor255(const ZelColor& color)
    : r(color.redB255()), g(color.greenB255()), b(color.blueB255()), a(color.alphaB255())
{
}

ZelColor255::ZelColor255(const NSColor& color)
    : r(lowByte(color.redComponent)),
      g(lowByte(color.greenComponent)),
      b(lowByte(color.blueComponent)),
      a(lowByte(color.alphaComponent))
{
}

std::int64_t ZelColor255::simpleDistance(To other) const
{
    return r * other.to.r + g * other.to.g + b * other.to.b;
}
NSColor ZelColor255::nsColor() const
{
    return {r / 255.0, g / 255.0, b / 255.0, a / 255.0};
}
CGFloat ZelColor255::lightness() const
{
    return nsColor().hsb().brightness;
}

ZelColor255 ZelColor255::modifyLightness(By factor) const
{
    NSColor::Hsb hsb = nsColor().hsb();
    hsb.brightness *= factor.by;
    return ZelColor255(NSColor::fromHsb(hsb));
}

ZelColor255 ZelColor255::modifySaturation(By factor) const
{
    NSColor::Hsb hsb = nsColor().hsb();
    hsb.saturation *= factor.by;
    return ZelColor255(NSColor::fromHsb(hsb));
}

} // namespace zel

std::size_t std::hash<zel::ZelColor255>::operator()(const zel::ZelColor255& color) const noexcept
{
    std::size_t state = 0;
    for (const std::uint8_t component : {color.r, color.g, color.b, color.a})
        state = state * 257 + component;
    return std::hash<std::size_t>{}(state);
}
