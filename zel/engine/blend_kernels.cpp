#include <zel/engine/blend_kernels.h>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "zel/engine/blend_kernels.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include <zel/engine/blend-inl.h>

HWY_BEFORE_NAMESPACE();
namespace zel::engine::HWY_NAMESPACE {
namespace {
#if HWY_TARGET == HWY_SCALAR

void blendAll(const ConstPixels& from, const Pixels& to, std::uint32_t opacity)
{
    blendRowsReference(from, to, opacity);
}

void flattenAll(const ConstPixels& from, bool premultiplied, const Pixels& to, std::array<std::uint8_t, 3> paper)
{
    flattenRowsReference(from, premultiplied, to, paper);
}

#else

template <class D32>
HWY_INLINE void blendAt(D32 d32, const std::uint8_t* from, std::uint8_t* to, hn::VFromD<Words<D32>> opacity)
{
    const auto source = loadPixels(d32, from);
    if (hn::AllTrue(d32, hn::Eq(source, hn::Zero(d32)))) // most of a watermark is clear
        return;
    storePixels(d32, shownOver(d32, shownOf(d32, widened(d32, source), opacity), loadPixels(d32, to)), to);
}

void blendAll(const ConstPixels& from, const Pixels& to, std::uint32_t opacity)
{
    const hn::ScalableTag<std::uint32_t> d32;
    const hn::CappedTag<std::uint32_t, 1> one;
    const auto fixed = static_cast<std::uint16_t>(opacity);
    const auto opacities = hn::Set(Words<decltype(d32)>(), fixed);
    const auto width = static_cast<std::size_t>(to.width);
    for (int y = 0; y < to.height; ++y) {
        const std::uint8_t* source = from.row(y);
        std::uint8_t* result = to.row(y);
        std::size_t x = 0;
        for (; x + hn::Lanes(d32) <= width; x += hn::Lanes(d32))
            blendAt(d32, source + 4 * x, result + 4 * x, opacities);
        for (; x < width; ++x)
            blendAt(one, source + 4 * x, result + 4 * x, hn::Set(Words<decltype(one)>(), fixed));
    }
}

HWY_ALIGN constexpr std::uint8_t alphaBytes[16] = {3,  0x80, 3,  0x80, 7,  0x80, 7,  0x80,
                                                   11, 0x80, 11, 0x80, 15, 0x80, 15, 0x80};

/// Nearest to v ÷ 255; v is at most 65025.
template <class V16>
HWY_INLINE V16 dividedBy255(hn::DFromV<V16> d16, V16 v)
{
    return hn::MulHigh(hn::Add(v, hn::Set(d16, 128)), hn::Set(d16, 257));
}

/// The paper's red and blue, green and alpha; the latter is opaque.
template <bool premultiplied, class D32>
HWY_INLINE void flattenAt(D32 d32, const std::uint8_t* from, std::uint8_t* to, const WidePixels<D32>& paper)
{
    const Words<D32> d16;
    const auto pixels = loadPixels(d32, from);
    const auto bytes = hn::BitCast(Bytes<D32>(), pixels);
    const auto alpha = hn::BitCast(d16, hn::TableLookupBytesOr0(bytes, byteTable(d32, alphaBytes)));
    const auto most = hn::Set(d16, 255);
    const auto clear = hn::Sub(most, alpha);
    const auto weight = premultiplied ? most : alpha;
    const auto words = hn::BitCast(d16, pixels);
    const auto over = [&](auto component, auto sheet) {
        const auto sum = hn::SaturatedAdd(hn::Mul(component, weight), hn::Mul(sheet, clear));
        return dividedBy255(d16, hn::Min(sum, hn::Set(d16, 65025)));
    };
    const auto redBlue = over(hn::And(words, most), paper.redBlue);
    const auto greenAlpha = hn::ShiftLeft<8>(over(hn::ShiftRight<8>(words), paper.greenAlpha));
    const auto opaqueAlpha = hn::Set(d32, 0xFF000000u);
    storePixels(d32, hn::Or(hn::BitCast(d32, hn::Or(redBlue, greenAlpha)), opaqueAlpha), to);
}

template <class D32>
WidePixels<D32> paperPixels(D32 d32, std::array<std::uint8_t, 3> paper)
{
    const Words<D32> d16;
    const auto pair = [&](std::uint32_t low, std::uint32_t high) {
        return hn::BitCast(d16, hn::Set(d32, low | high << 16));
    };
    return {pair(paper[0], paper[2]), pair(paper[1], 255)};
}

template <bool premultiplied>
void flattenEach(const ConstPixels& from, const Pixels& to, std::array<std::uint8_t, 3> paper)
{
    const hn::ScalableTag<std::uint32_t> d32;
    const hn::CappedTag<std::uint32_t, 1> one;
    const auto papers = paperPixels(d32, paper);
    const auto width = static_cast<std::size_t>(to.width);
    for (int y = 0; y < to.height; ++y) {
        const std::uint8_t* source = from.row(y);
        std::uint8_t* result = to.row(y);
        std::size_t x = 0;
        for (; x + hn::Lanes(d32) <= width; x += hn::Lanes(d32))
            flattenAt<premultiplied>(d32, source + 4 * x, result + 4 * x, papers);
        for (; x < width; ++x)
            flattenAt<premultiplied>(one, source + 4 * x, result + 4 * x, paperPixels(one, paper));
    }
}

void flattenAll(const ConstPixels& from, bool premultiplied, const Pixels& to, std::array<std::uint8_t, 3> paper)
{
    if (premultiplied)
        flattenEach<true>(from, to, paper);
    else
        flattenEach<false>(from, to, paper);
}

#endif
} // namespace
} // namespace zel::engine::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace zel::engine {
namespace {
HWY_EXPORT(blendAll);
HWY_EXPORT(flattenAll);
} // namespace

void blendRows(const ConstPixels& from, const Pixels& to, std::uint32_t opacity)
{
    HWY_DYNAMIC_DISPATCH(blendAll)(from, to, opacity);
}

void flattenRows(const ConstPixels& from, bool premultiplied, const Pixels& to, std::array<std::uint8_t, 3> paper)
{
    HWY_DYNAMIC_DISPATCH(flattenAll)(from, premultiplied, to, paper);
}

} // namespace zel::engine
#endif // HWY_ONCE
