#include <zel/engine/ycc_kernels.h>

// clang-format off
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "zel/engine/ycc_kernels.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>
// clang-format on

HWY_BEFORE_NAMESPACE();
namespace zel::engine::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

#if HWY_TARGET == HWY_SCALAR // no lanes to work in
void toYccRow(const std::uint8_t* rgbx, const YccRow& to, std::size_t pixels)
{
    toYccReference(rgbx, to, pixels);
}

void halveTwoRows(const std::uint8_t* upper, const std::uint8_t* lower, std::uint8_t* to, std::size_t count)
{
    halveRowsReference(upper, lower, to, count);
}
#else

// The products of pairs of 16-bit lanes, summed into 32 bits.
template <class D32, class V16>
auto sumPairs(D32 d32, V16 values, V16 factors)
{
    auto high = hn::Zero(d32);
    const auto low = hn::ReorderWidenMulAccumulate(d32, values, factors, hn::Zero(d32), high);
    return hn::RearrangeToOddPlusEven(low, high);
}

template <class D32>
auto factorPairs(D32 d32, std::int16_t even, std::int16_t odd)
{
    const auto bits = static_cast<std::uint32_t>(static_cast<std::uint16_t>(even)) |
                      static_cast<std::uint32_t>(static_cast<std::uint16_t>(odd)) << 16;
    return hn::BitCast(hn::RepartitionToNarrow<D32>(), hn::Set(d32, static_cast<std::int32_t>(bits)));
}

// One vector of pixels at x, red and blue in one vector of pairs, green in another. Factors that pass 16 bits are
// split: 38470 = 2 × 19235, and ± 32768 stands as -32768 in a sum that is then taken away.
template <class D32>
void toYccAt(D32 d32, const std::uint8_t* rgbx, const YccRow& to, std::size_t x)
{
    const hn::RepartitionToNarrow<D32> d16;
    const hn::Repartition<std::uint8_t, D32> d8;
    const hn::Rebind<std::uint8_t, D32> quarter;
    const auto pixel = hn::BitCast(d32, hn::LoadU(d8, rgbx + 4 * x));
    const auto redBlue = hn::BitCast(d16, hn::And(pixel, hn::Set(d32, 0x00FF00FF)));
    const auto green = hn::And(hn::ShiftRight<8>(pixel), hn::Set(d32, 0xFF));
    const auto greens = hn::BitCast(d16, hn::Or(green, hn::ShiftLeft<16>(green)));

    const auto half = hn::Set(d32, 1 << 15);
    const auto centre = hn::Set(d32, (128 << 16) + (1 << 15) - 1);
    const auto luma = hn::Add(hn::Add(sumPairs(d32, redBlue, factorPairs(d32, 19595, 7471)),
                                      sumPairs(d32, greens, factorPairs(d32, 19235, 19235))),
                              half);
    const auto blue = hn::Sub(centre, hn::Add(sumPairs(d32, redBlue, factorPairs(d32, 11059, -32768)),
                                              sumPairs(d32, greens, factorPairs(d32, 21709, 0))));
    const auto red = hn::Sub(centre, hn::Add(sumPairs(d32, redBlue, factorPairs(d32, -32768, 5329)),
                                             sumPairs(d32, greens, factorPairs(d32, 27439, 0))));
    hn::StoreU(hn::DemoteTo(quarter, hn::ShiftRight<16>(luma)), quarter, to.luma + x);
    hn::StoreU(hn::DemoteTo(quarter, hn::ShiftRight<16>(blue)), quarter, to.blue + x);
    hn::StoreU(hn::DemoteTo(quarter, hn::ShiftRight<16>(red)), quarter, to.red + x);
}

void toYccRow(const std::uint8_t* rgbx, const YccRow& to, std::size_t pixels)
{
    const hn::ScalableTag<std::int32_t> d32;
    const std::size_t lanes = hn::Lanes(d32);
    std::size_t x = 0;
    for (; x + lanes <= pixels; x += lanes)
        toYccAt(d32, rgbx, to, x);
    toYccReference(rgbx + 4 * x, {to.luma + x, to.blue + x, to.red + x}, pixels - x);
}

void halveTwoRows(const std::uint8_t* upper, const std::uint8_t* lower, std::uint8_t* to, std::size_t count)
{
    const hn::ScalableTag<std::uint16_t> d16;
    const hn::Repartition<std::uint8_t, decltype(d16)> d8;
    const hn::Repartition<std::uint32_t, decltype(d16)> d32;
    const hn::Rebind<std::uint8_t, decltype(d16)> halfOfBytes;
    const std::size_t lanes = hn::Lanes(d16);
    const auto bias = hn::BitCast(d16, hn::Set(d32, 0x00020001)); // 1, 2, 1, 2, …
    const auto low = hn::Set(d16, 0xFF);
    std::size_t i = 0;
    for (; i + lanes <= count; i += lanes) {
        const auto above = hn::BitCast(d16, hn::LoadU(d8, upper + 2 * i));
        const auto below = hn::BitCast(d16, hn::LoadU(d8, lower + 2 * i));
        const auto even = hn::Add(hn::And(above, low), hn::And(below, low));
        const auto odd = hn::Add(hn::ShiftRight<8>(above), hn::ShiftRight<8>(below));
        const auto sum = hn::Add(hn::Add(even, odd), bias);
        hn::StoreU(hn::DemoteTo(halfOfBytes, hn::BitCast(hn::RebindToSigned<decltype(d16)>(), hn::ShiftRight<2>(sum))),
                   halfOfBytes, to + i);
    }
    halveRowsReference(upper + 2 * i, lower + 2 * i, to + i, count - i); // i is even: the bias goes on
}
#endif

} // namespace zel::engine::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace zel::engine {

HWY_EXPORT(toYccRow);
HWY_EXPORT(halveTwoRows);

void toYcc(const std::uint8_t* rgbx, const YccRow& to, std::size_t pixels)
{
    HWY_DYNAMIC_DISPATCH(toYccRow)(rgbx, to, pixels);
}

void halveRows(const std::uint8_t* upper, const std::uint8_t* lower, std::uint8_t* to, std::size_t count)
{
    HWY_DYNAMIC_DISPATCH(halveTwoRows)(upper, lower, to, count);
}

} // namespace zel::engine
#endif
