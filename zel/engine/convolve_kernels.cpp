#include <zel/engine/convolve_kernels.h>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "zel/engine/convolve_kernels.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include <cstdlib>

// Sums of 16 bits where they are enough: bytes at even places and those at odd ones are two vectors of 16-bit lanes,
// which costs a mask and a shift and puts them together again as cheaply.
HWY_BEFORE_NAMESPACE();
namespace zel::engine::HWY_NAMESPACE {
namespace {
#if HWY_TARGET == HWY_SCALAR

void convolveAll(const ConvolvedRows& in, std::uint8_t* to, std::size_t count)
{
    convolveRowReference(in, to, count);
}

#else
namespace hn = hwy::HWY_NAMESPACE;

constexpr int mostThirds = 767;     // what is above gives 255 as well
constexpr int thirdOf65536 = 21846; // rounded up: floor(s × this ÷ 65536) is floor(s ÷ 3) for all s up to 32767

template <class D16>
HWY_INLINE hn::VFromD<D16> third(D16 d16, hn::VFromD<D16> sum)
{
    const auto held = hn::Min(hn::Max(sum, hn::Zero(d16)), hn::Set(d16, mostThirds));
    return hn::MulHigh(held, hn::Set(d16, thirdOf65536));
}

template <class D8>
HWY_INLINE void sumsOf16Bits(D8 d8, const ConvolvedRows& in, std::size_t k, std::uint8_t* to)
{
    const hn::RepartitionToWide<D8> du16;
    const hn::RebindToSigned<decltype(du16)> d16;
    const auto lowByte = hn::Set(du16, 0xFF);
    auto even = hn::Zero(d16);
    auto odd = hn::Zero(d16);
    for (std::size_t i = 0; i < 3; ++i) {
        for (std::size_t j = 0; j < 3; ++j) {
            const auto weight = hn::Set(d16, in.weights[3 * i + j]);
            const auto bytes = hn::BitCast(du16, hn::LoadU(d8, in.rows[i] + k + 4 * j - 4));
            even = hn::Add(even, hn::Mul(hn::BitCast(d16, hn::And(bytes, lowByte)), weight));
            odd = hn::Add(odd, hn::Mul(hn::BitCast(d16, hn::ShiftRight<8>(bytes)), weight));
        }
    }
    const auto result = hn::Or(third(d16, even), hn::ShiftLeft<8>(third(d16, odd)));
    hn::StoreU(hn::BitCast(d8, result), d8, to + k);
}

template <class D8>
HWY_INLINE void sumsOf32Bits(D8 d8, const ConvolvedRows& in, std::size_t k, std::uint8_t* to)
{
    const hn::Rebind<std::int32_t, D8> d32;
    auto sum = hn::Zero(d32);
    for (std::size_t i = 0; i < 3; ++i) {
        for (std::size_t j = 0; j < 3; ++j) {
            const auto bytes = hn::PromoteTo(d32, hn::LoadU(d8, in.rows[i] + k + 4 * j - 4));
            sum = hn::Add(sum, hn::Mul(bytes, hn::Set(d32, in.weights[3 * i + j])));
        }
    }
    const auto held = hn::Min(hn::Max(sum, hn::Zero(d32)), hn::Set(d32, mostThirds));
    hn::StoreU(hn::DemoteTo(d8, hn::ShiftRight<16>(hn::Mul(held, hn::Set(d32, thirdOf65536)))), d8, to + k);
}

/// Whole vectors; the last one may repeat some of the bytes before it.
template <class D8, class Body>
HWY_INLINE void eachVector(D8 d8, const ConvolvedRows& in, std::uint8_t* to, std::size_t count, const Body& body)
{
    const std::size_t lanes = hn::Lanes(d8);
    if (count < lanes)
        return convolveRowReference(in, to, count);
    std::size_t k = 0;
    for (; k + lanes <= count; k += lanes)
        body(d8, in, k, to);
    if (k < count)
        body(d8, in, count - lanes, to);
}

void convolveAll(const ConvolvedRows& in, std::uint8_t* to, std::size_t count)
{
    int sizes = 0;
    for (const int weight : in.weights)
        sizes += std::abs(weight);
    const hn::ScalableTag<std::uint8_t> d8;
    const hn::Rebind<std::uint8_t, hn::ScalableTag<std::int32_t>> quarter;
    if (sizes * 255 <= 32767)
        eachVector(d8, in, to, count, [](const auto&... of) { sumsOf16Bits(of...); });
    else
        eachVector(quarter, in, to, count, [](const auto&... of) { sumsOf32Bits(of...); });
}

#endif
} // namespace
} // namespace zel::engine::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace zel::engine {
namespace {
HWY_EXPORT(convolveAll);
} // namespace

void convolveRow(const ConvolvedRows& in, std::uint8_t* to, std::size_t count)
{
    HWY_DYNAMIC_DISPATCH(convolveAll)(in, to, count);
}

} // namespace zel::engine
#endif // HWY_ONCE
