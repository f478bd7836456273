#include <zel/engine/mean_kernels.h>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "zel/engine/mean_kernels.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include <algorithm>

HWY_BEFORE_NAMESPACE();
namespace zel::engine::HWY_NAMESPACE {
namespace {
#if HWY_TARGET == HWY_SCALAR

WeightedSums sumAll(const ConstPixels& pixels, PixelLayout layout)
{
    return sumPixelsReference(pixels, layout);
}

#else
namespace hn = hwy::HWY_NAMESPACE;

/// Sums over lanes of 32 bits, emptied into 64 bits before they can overflow.
constexpr std::size_t additionsAtOnce = 65536; // of products up to 255 × 255

HWY_ALIGN constexpr std::uint8_t inOrder[16] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};
HWY_ALIGN constexpr std::uint8_t fromAlphaFirst[16] = {1, 2, 3, 0, 5, 6, 7, 4, 9, 10, 11, 8, 13, 14, 15, 12};
HWY_ALIGN constexpr std::uint8_t deepFromAlphaFirst[16] = {2, 3, 4, 5, 6, 7, 0, 1, 10, 11, 12, 13, 14, 15, 8, 9};
HWY_ALIGN constexpr std::uint8_t alphas[16] = {3,  0x80, 3,  0x80, 7,  0x80, 7,  0x80,
                                               11, 0x80, 11, 0x80, 15, 0x80, 15, 0x80};

template <class D>
std::uint64_t wideSum(D d, hn::VFromD<D> lanes)
{
    HWY_ALIGN hn::TFromD<D> values[hn::MaxLanes(d)];
    hn::Store(lanes, d, values);
    std::uint64_t sum = 0;
    for (std::size_t i = 0; i < hn::Lanes(d); ++i)
        sum += values[i];
    return sum;
}

/// `count` vectors of pixels from `row`; colours times alpha where `weighted`, else as they are.
template <bool weighted, class D32>
void sumShallow(D32 d32, const std::uint8_t* row, std::size_t count, const std::uint8_t* order, WeightedSums& sums)
{
    const hn::Repartition<std::uint8_t, D32> d8;
    const hn::Repartition<std::uint16_t, D32> d16;
    const auto table = hn::LoadDup128(d8, order);
    const auto alphaTable = hn::LoadDup128(d8, alphas);
    const auto one = hn::BitCast(d16, hn::Set(d32, 0x00010000u)); // alpha itself has weight 1
    const auto onlyAlpha = hn::BitCast(d16, hn::Set(d32, 0xFFFF0000u));
    const auto lowWord = hn::Set(d32, 0xFFFFu);
    auto red = hn::Zero(d32), green = red, blue = red, alpha = red;
    for (std::size_t i = 0; i < count; ++i, row += 4 * hn::Lanes(d32)) {
        const auto pixels = hn::TableLookupBytes(hn::LoadU(d8, row), table);
        auto redBlue = hn::And(hn::BitCast(d16, pixels), hn::Set(d16, 255));
        auto greenAlpha = hn::ShiftRight<8>(hn::BitCast(d16, pixels));
        if (weighted) {
            const auto weight = hn::BitCast(d16, hn::TableLookupBytesOr0(pixels, alphaTable));
            redBlue = hn::Mul(redBlue, weight);
            greenAlpha = hn::Mul(greenAlpha, hn::Or(hn::AndNot(onlyAlpha, weight), one));
        }
        red = hn::Add(red, hn::And(hn::BitCast(d32, redBlue), lowWord));
        blue = hn::Add(blue, hn::ShiftRight<16>(hn::BitCast(d32, redBlue)));
        green = hn::Add(green, hn::And(hn::BitCast(d32, greenAlpha), lowWord));
        alpha = hn::Add(alpha, hn::ShiftRight<16>(hn::BitCast(d32, greenAlpha)));
    }
    sums.colours[0] += wideSum(d32, red);
    sums.colours[1] += wideSum(d32, green);
    sums.colours[2] += wideSum(d32, blue);
    sums.alpha += wideSum(d32, alpha);
}

template <bool weighted, class D64>
void sumDeep(D64 d64, const std::uint8_t* row, std::size_t count, const std::uint8_t* order, WeightedSums& sums)
{
    const hn::Repartition<std::uint8_t, D64> d8;
    const hn::Repartition<std::uint32_t, D64> d32;
    const auto table = hn::LoadDup128(d8, order);
    const auto lowWord = hn::Set(d64, 0xFFFFu);
    auto red = hn::Zero(d64), green = red, blue = red, alpha = red;
    for (std::size_t i = 0; i < count; ++i, row += 8 * hn::Lanes(d64)) {
        const auto pixels = hn::BitCast(d64, hn::TableLookupBytes(hn::LoadU(d8, row), table));
        const auto weight = hn::ShiftRight<48>(pixels);
        const auto times = [&](auto component) {
            const auto lane = hn::And(component, lowWord);
            return weighted ? hn::MulEven(hn::BitCast(d32, lane), hn::BitCast(d32, weight)) : lane;
        };
        red = hn::Add(red, times(pixels));
        green = hn::Add(green, times(hn::ShiftRight<16>(pixels)));
        blue = hn::Add(blue, times(hn::ShiftRight<32>(pixels)));
        alpha = hn::Add(alpha, weight);
    }
    sums.colours[0] += wideSum(d64, red);
    sums.colours[1] += wideSum(d64, green);
    sums.colours[2] += wideSum(d64, blue);
    sums.alpha += wideSum(d64, alpha);
}

template <bool weighted>
WeightedSums sumRows(const ConstPixels& pixels, PixelLayout layout)
{
    WeightedSums sums;
    const auto width = static_cast<std::size_t>(pixels.width);
    for (int y = 0; y < pixels.height; ++y) {
        const std::uint8_t* row = pixels.row(y);
        if (layout.bytesPerComponent == 2) {
            const hn::ScalableTag<std::uint64_t> d64;
            const std::uint8_t* order = layout.alphaFirst ? deepFromAlphaFirst : inOrder;
            const std::size_t vectors = width / hn::Lanes(d64);
            const std::size_t done = vectors * hn::Lanes(d64);
            sumDeep<weighted>(d64, row, vectors, order, sums);
            sumDeep<weighted>(hn::CappedTag<std::uint64_t, 1>(), row + 8 * done, width - done, order, sums);
            continue;
        }
        const hn::ScalableTag<std::uint32_t> d32;
        const std::uint8_t* order = layout.alphaFirst ? fromAlphaFirst : inOrder;
        std::size_t left = width;
        while (left >= hn::Lanes(d32)) {
            const std::size_t vectors = std::min(left / hn::Lanes(d32), additionsAtOnce);
            sumShallow<weighted>(d32, row, vectors, order, sums);
            row += 4 * hn::Lanes(d32) * vectors;
            left -= hn::Lanes(d32) * vectors;
        }
        sumShallow<weighted>(hn::CappedTag<std::uint32_t, 1>(), row, left, order, sums);
    }
    return sums;
}

WeightedSums sumAll(const ConstPixels& pixels, PixelLayout layout)
{
    if (layout.alpha == PixelLayout::Alpha::straight)
        return sumRows<true>(pixels, layout);
    const std::uint64_t most = layout.bytesPerComponent == 1 ? 255 : 65535;
    WeightedSums sums = sumRows<false>(pixels, layout);
    for (auto& color : sums.colours)
        color *= most;
    if (layout.alpha == PixelLayout::Alpha::skip)
        sums.alpha = most * static_cast<std::uint64_t>(pixels.width) * static_cast<std::uint64_t>(pixels.height);
    return sums;
}

#endif
} // namespace
} // namespace zel::engine::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace zel::engine {
namespace {
HWY_EXPORT(sumAll);
} // namespace

WeightedSums sumPixels(const ConstPixels& pixels, PixelLayout layout)
{
    return HWY_DYNAMIC_DISPATCH(sumAll)(pixels, layout);
}

} // namespace zel::engine
#endif // HWY_ONCE
