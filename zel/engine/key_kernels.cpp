#include <zel/engine/key_kernels.h>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "zel/engine/key_kernels.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace zel::engine::HWY_NAMESPACE {
namespace {
#if HWY_TARGET == HWY_SCALAR

void keyAll(const ConstPixels& from, const Pixels& to, PixelOrder order, const ColorKey& key)
{
    keyRowsReference(from, to, order, key);
}

void paintAll(const ConstPixels& from, const Pixels& to, PixelOrder order, Color color)
{
    paintRowsReference(from, to, order, color);
}

#else
namespace hn = hwy::HWY_NAMESPACE;

HWY_ALIGN constexpr std::uint8_t inOrder[16] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};
HWY_ALIGN constexpr std::uint8_t alphaToEnd[16] = {1, 2, 3, 0, 5, 6, 7, 4, 9, 10, 11, 8, 13, 14, 15, 12};
HWY_ALIGN constexpr std::uint8_t alphaToFront[16] = {3, 0, 1, 2, 7, 4, 5, 6, 11, 8, 9, 10, 15, 12, 13, 14};

constexpr std::uint32_t alphaBits = 0xFF000000u; // of red, green, blue, alpha read as one number

/// `count` vectors of pixels, brought to red, green, blue, alpha, changed, and stored in the order asked for.
template <class D32, class Change>
void changePixels(D32 d32, const std::uint8_t* from, std::uint8_t* to, std::size_t count, PixelOrder order,
                  const Change& change)
{
    const hn::Repartition<std::uint8_t, D32> d8;
    const auto toEnd = hn::LoadDup128(d8, order.fromAlphaFirst ? alphaToEnd : inOrder);
    const auto toPlace = hn::LoadDup128(d8, order.toAlphaFirst ? alphaToFront : inOrder);
    const auto opaque = hn::Set(d32, order.fromIsOpaque ? alphaBits : 0u);
    for (std::size_t i = 0; i < count; ++i, from += 4 * hn::Lanes(d32), to += 4 * hn::Lanes(d32)) {
        const auto stored = hn::TableLookupBytes(hn::LoadU(d8, from), toEnd);
        const auto pixels = change(d32, hn::Or(hn::BitCast(d32, stored), opaque));
        hn::StoreU(hn::TableLookupBytes(hn::BitCast(d8, pixels), toPlace), d8, to);
    }
}

template <class Change>
void changeRows(const ConstPixels& from, const Pixels& to, PixelOrder order, const Change& change)
{
    const hn::ScalableTag<std::uint32_t> d32;
    const auto width = static_cast<std::size_t>(from.width);
    const std::size_t vectors = width / hn::Lanes(d32);
    const std::size_t done = vectors * hn::Lanes(d32);
    for (int y = 0; y < from.height; ++y) {
        changePixels(d32, from.row(y), to.row(y), vectors, order, change);
        changePixels(hn::CappedTag<std::uint32_t, 1>(), from.row(y) + 4 * done, to.row(y) + 4 * done, width - done,
                     order, change);
    }
}

void keyAll(const ConstPixels& from, const Pixels& to, PixelOrder order, const ColorKey& key)
{
    const auto red = std::uint32_t{key.color.red}, green = std::uint32_t{key.color.green};
    const std::uint32_t redBlueKey = red | std::uint32_t{key.color.blue} << 16;
    changeRows(from, to, order, [=](auto d32, auto pixels) HWY_ATTR {
        const hn::Repartition<std::uint16_t, decltype(d32)> d16;
        const hn::RebindToSigned<decltype(d32)> signed32;
        // A difference of two bytes may wrap in 16 bits; the low half of its square is right all the same.
        const auto words = hn::BitCast(d16, pixels);
        const auto redBlue = hn::Sub(hn::And(words, hn::Set(d16, 255)), hn::BitCast(d16, hn::Set(d32, redBlueKey)));
        const auto greenAlpha = hn::Sub(hn::ShiftRight<8>(words), hn::BitCast(d16, hn::Set(d32, green)));
        const auto redBlueSquares = hn::BitCast(d32, hn::Mul(redBlue, redBlue));
        const auto greenSquares = hn::BitCast(d32, hn::Mul(greenAlpha, greenAlpha));
        const auto lowWord = hn::Set(d32, 0xFFFFu);
        const auto sum = hn::Add(hn::Add(hn::And(redBlueSquares, lowWord), hn::ShiftRight<16>(redBlueSquares)),
                                 hn::And(greenSquares, lowWord));
        const auto isFar = hn::Gt(hn::BitCast(signed32, sum), hn::Set(signed32, key.mostSquare));
        const auto kept = hn::BitCast(d32, hn::VecFromMask(signed32, isFar));
        return hn::And(pixels, hn::Or(kept, hn::Set(d32, ~alphaBits)));
    });
}

void paintAll(const ConstPixels& from, const Pixels& to, PixelOrder order, Color color)
{
    const std::uint32_t colors =
        std::uint32_t{color.red} | std::uint32_t{color.green} << 8 | std::uint32_t{color.blue} << 16;
    changeRows(from, to, order, [=](auto d32, auto pixels) HWY_ATTR {
        return hn::Or(hn::And(pixels, hn::Set(d32, alphaBits)), hn::Set(d32, colors));
    });
}

#endif
} // namespace
} // namespace zel::engine::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace zel::engine {
namespace {
HWY_EXPORT(keyAll);
HWY_EXPORT(paintAll);
} // namespace

void keyRows(const ConstPixels& from, const Pixels& to, PixelOrder order, const ColorKey& key)
{
    HWY_DYNAMIC_DISPATCH(keyAll)(from, to, order, key);
}

void paintRows(const ConstPixels& from, const Pixels& to, PixelOrder order, Color color)
{
    HWY_DYNAMIC_DISPATCH(paintAll)(from, to, order, color);
}

} // namespace zel::engine
#endif // HWY_ONCE
