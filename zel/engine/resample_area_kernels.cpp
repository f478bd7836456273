#include <zel/engine/resample_area_kernels.h>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "zel/engine/resample_area_kernels.cpp"
#include <hwy/foreach_target.h> // must precede highway.h
#include <hwy/highway.h>

// A pixel is two lanes of 16 bits: red and blue in their lower halves, green and alpha in the upper ones. Both are
// summed there over all rows, which leaves room for 257 of them, and only then widened.
HWY_BEFORE_NAMESPACE();
namespace zel::engine::HWY_NAMESPACE {
namespace {
namespace hn = hwy::HWY_NAMESPACE;

#if HWY_TARGET == HWY_SCALAR

void addRowsOnTarget(const std::uint8_t* const* rows, int rowCount, std::uint32_t* sums, std::size_t count)
{
    addRowsReference(rows, rowCount, sums, count);
}

#else

template <class D8>
HWY_INLINE void addRowsAt(D8 d8, const std::uint8_t* const* rows, int rowCount, std::size_t x, std::uint32_t* sums)
{
    const hn::Repartition<std::uint16_t, D8> d16;
    const hn::Repartition<std::uint32_t, D8> d32;
    const auto lowerByte = hn::Set(d16, 0x00FF);
    auto redAndBlue = hn::Zero(d16);
    auto greenAndAlpha = hn::Zero(d16);
    for (int k = 0; k < rowCount; ++k) {
        const auto pixels = hn::BitCast(d16, hn::LoadU(d8, rows[k] + x));
        redAndBlue = hn::Add(redAndBlue, hn::And(pixels, lowerByte));
        greenAndAlpha = hn::Add(greenAndAlpha, hn::ShiftRight<8>(pixels));
    }
    const auto lowerHalf = hn::Set(d32, 0xFFFF);
    const auto rb = hn::BitCast(d32, redAndBlue);
    const auto ga = hn::BitCast(d32, greenAndAlpha);
    hn::Vec<decltype(d32)> red, green, blue, alpha;
    hn::LoadInterleaved4(d32, sums + x, red, green, blue, alpha);
    hn::StoreInterleaved4(hn::Add(red, hn::And(rb, lowerHalf)), hn::Add(green, hn::And(ga, lowerHalf)),
                          hn::Add(blue, hn::ShiftRight<16>(rb)), hn::Add(alpha, hn::ShiftRight<16>(ga)), d32, sums + x);
}

void addRowsOnTarget(const std::uint8_t* const* rows, int rowCount, std::uint32_t* sums, std::size_t count)
{
    const hn::ScalableTag<std::uint8_t> wide;
    const hn::CappedTag<std::uint8_t, 16> block;
    std::size_t x = 0;
    for (; x + hn::Lanes(wide) <= count; x += hn::Lanes(wide))
        addRowsAt(wide, rows, rowCount, x, sums);
    for (; x + hn::Lanes(block) <= count; x += hn::Lanes(block))
        addRowsAt(block, rows, rowCount, x, sums);
    for (; x < count; ++x)
        for (int k = 0; k < rowCount; ++k)
            sums[x] += rows[k][x];
}

#endif

} // namespace
} // namespace zel::engine::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace zel::engine {
namespace {

HWY_EXPORT(addRowsOnTarget);

} // namespace

void addRows(const std::uint8_t* const* rows, int rowCount, std::uint32_t* sums, std::size_t count)
{
    HWY_DYNAMIC_DISPATCH(addRowsOnTarget)(rows, rowCount, sums, count);
}

} // namespace zel::engine
#endif
