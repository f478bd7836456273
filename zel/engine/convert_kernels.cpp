#include <zel/engine/convert_kernels.h>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "zel/engine/convert_kernels.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

// Both orders go through tables of bytes, so that one loop for each pair of depths and each step serves all orders.
HWY_BEFORE_NAMESPACE();
namespace zel::engine::HWY_NAMESPACE {
namespace {
#if HWY_TARGET == HWY_SCALAR

void convertAll(const Conversion& conversion, const ConstPixels& from, const Pixels& to)
{
    convertRowsReference(conversion, from, to);
}

#else
namespace hn = hwy::HWY_NAMESPACE;
using Step = Conversion::Step;

/// Tables of bytes for each pixel of `components` of one size, in every 128-bit block.
struct Orders {
    HWY_ALIGN std::uint8_t read[16];   ///< stored → red, green, blue, alpha
    HWY_ALIGN std::uint8_t write[16];  ///< and back
    HWY_ALIGN std::uint8_t opaque[16]; ///< what is put on top, in stored order
};

Orders makeOrders(const Conversion& conversion, int bytes)
{
    Orders orders{};
    const int pixelBytes = 4 * bytes;
    for (int i = 0; i < 16; ++i) {
        const int pixel = i / pixelBytes * pixelBytes;
        const auto rotated = [&](int by) {
            return static_cast<std::uint8_t>(pixel + (i % pixelBytes + by * bytes) % pixelBytes);
        };
        orders.read[i] = rotated(conversion.fromAlphaFirst ? 1 : 0);
        orders.write[i] = rotated(conversion.toAlphaFirst ? 3 : 0);
        const int alpha = conversion.toAlphaFirst ? 0 : 3;
        orders.opaque[i] = conversion.makeOpaque && i % pixelBytes / bytes == alpha ? 0xFF : 0;
    }
    return orders;
}

/// Components of 8 bits: `V8` holds pixels in the order red, green, blue, alpha.
template <class D8, class V8 = hn::VFromD<D8>>
HWY_INLINE V8 premultiplied(D8 d8, V8 pixels)
{
    const hn::Repartition<std::uint16_t, D8> d16;
    HWY_ALIGN static constexpr std::uint8_t alphas[16] = {3,  0x80, 3,  0x80, 7,  0x80, 7,  0x80,
                                                          11, 0x80, 11, 0x80, 15, 0x80, 15, 0x80};
    const auto alpha = hn::BitCast(d16, hn::TableLookupBytesOr0(pixels, hn::LoadDup128(d8, alphas)));
    const hn::Repartition<std::uint32_t, D8> d32;
    const auto alphaKept = hn::Or(alpha, hn::BitCast(d16, hn::Set(d32, 0x00FF0000u)));
    const auto words = hn::BitCast(d16, pixels);
    const auto times = [&](auto component, auto by) { // ÷ 255 to nearest
        return hn::MulHigh(hn::Add(hn::Mul(component, by), hn::Set(d16, 128)), hn::Set(d16, 257));
    };
    const auto redBlue = times(hn::And(words, hn::Set(d16, 255)), alpha);
    const auto greenAlpha = times(hn::ShiftRight<8>(words), alphaKept);
    return hn::BitCast(d8, hn::Or(redBlue, hn::ShiftLeft<8>(greenAlpha)));
}

template <class D8, class V8 = hn::VFromD<D8>>
HWY_INLINE V8 divided(D8 d8, V8 pixels)
{
    const hn::Repartition<std::uint32_t, D8> d32;
    const hn::Repartition<std::int32_t, D8> di32;
    const hn::Repartition<float, D8> df;
    HWY_ALIGN static constexpr std::uint8_t alphas[16] = {3, 3, 3, 3, 7, 7, 7, 7, 11, 11, 11, 11, 15, 15, 15, 15};
    const auto alphaEverywhere = hn::TableLookupBytes(pixels, hn::LoadDup128(d8, alphas));
    if (hn::AllTrue(d8, hn::Eq(alphaEverywhere, hn::Set(d8, 255))))
        return pixels;
    const auto held = hn::BitCast(d32, hn::Min(pixels, alphaEverywhere)); // no component above 255 afterwards
    const auto alpha = hn::ShiftRight<24>(held);
    // Quotients are off by less than 2^-22 of themselves, and those that are not a half are further than 0.0019 from
    // one. Raising them all by 2^-19 of themselves therefore makes halves go up and changes nothing else. Adding 2^23
    // rounds to nearest and leaves the whole number in the lowest bits.
    // An alpha of 0 divides by 1 instead: its components are 0 here, and 0 ÷ 0 is no number.
    const auto divisor = hn::Max(hn::ConvertTo(df, hn::BitCast(di32, alpha)), hn::Set(df, 1.0f));
    const auto reciprocal = hn::Div(hn::Set(df, 255.0f + 255.0f / 524288), divisor);
    const auto byte = hn::Set(d32, 255);
    const auto over = [&](auto component) {
        const auto value = hn::Mul(hn::ConvertTo(df, hn::BitCast(di32, component)), reciprocal);
        return hn::BitCast(d32, hn::Add(value, hn::Set(df, 8388608.0f)));
    };
    const auto red = hn::And(over(hn::And(held, byte)), byte);
    const auto green = hn::ShiftLeft<8>(over(hn::And(hn::ShiftRight<8>(held), byte)));
    const auto blue = hn::ShiftLeft<16>(over(hn::And(hn::ShiftRight<16>(held), byte)));
    const auto result = hn::Or(hn::Or(red, green), hn::Or(blue, hn::And(held, hn::Set(d32, 0xFF000000u))));
    return hn::BitCast(d8, result);
}

/// Components of 16 bits: `V16` holds pixels in the order red, green, blue, alpha.
template <class V32>
struct DeepHalves {
    V32 redBlue, greenAlpha;
};

template <class D16>
HWY_INLINE auto halvesOf(D16 d16, hn::VFromD<D16> pixels)
{
    const hn::Repartition<std::uint32_t, D16> d32;
    static_cast<void>(d16);
    const auto pairs = hn::BitCast(d32, pixels);
    return DeepHalves<hn::VFromD<decltype(d32)>>{hn::And(pairs, hn::Set(d32, 0xFFFF)), hn::ShiftRight<16>(pairs)};
}

/// The alpha of each pixel in both of its 32-bit lanes.
template <class D16>
HWY_INLINE auto deepAlpha(D16, hn::VFromD<D16> pixels)
{
    const hn::Repartition<std::uint8_t, D16> d8;
    const hn::Repartition<std::uint32_t, D16> d32;
    HWY_ALIGN static constexpr std::uint8_t alphas[16] = {6,  7,  0x80, 0x80, 6,  7,  0x80, 0x80,
                                                          14, 15, 0x80, 0x80, 14, 15, 0x80, 0x80};
    return hn::BitCast(d32, hn::TableLookupBytesOr0(hn::BitCast(d8, pixels), hn::LoadDup128(d8, alphas)));
}

/// In the lanes of green and alpha: all ones where alpha stands.
template <class D16>
HWY_INLINE auto alphaLanes(D16)
{
    const hn::Repartition<std::uint64_t, D16> d64;
    return hn::BitCast(hn::Repartition<std::uint32_t, D16>(), hn::Set(d64, 0xFFFFFFFF00000000u));
}

template <class D16, class V16 = hn::VFromD<D16>>
HWY_INLINE V16 deepPremultiplied(D16 d16, V16 pixels)
{
    const hn::Repartition<std::uint32_t, D16> d32;
    const auto halves = halvesOf(d16, pixels);
    const auto alpha = deepAlpha(d16, pixels);
    const auto alphaKept = hn::Or(alpha, hn::And(alphaLanes(d16), hn::Set(d32, 0xFFFF)));
    const auto times = [&](auto component, auto by) { // ÷ 65535 to nearest
        const auto raised = hn::Add(hn::Mul(component, by), hn::Set(d32, 32768));
        return hn::ShiftRight<16>(hn::Add(raised, hn::ShiftRight<16>(raised)));
    };
    const auto greenAlpha = hn::ShiftLeft<16>(times(halves.greenAlpha, alphaKept));
    return hn::BitCast(d16, hn::Or(times(halves.redBlue, alpha), greenAlpha));
}

template <class D16, class V16 = hn::VFromD<D16>>
HWY_INLINE V16 deepDivided(D16 d16, V16 pixels)
{
    const hn::Repartition<std::uint32_t, D16> d32;
    const hn::Repartition<std::int32_t, D16> di32;
    const hn::Repartition<float, D16> df;
    const auto halves = halvesOf(d16, pixels);
    const auto alpha = deepAlpha(d16, pixels);
    if (hn::AllTrue(d32, hn::Eq(alpha, hn::Set(d32, 65535))))
        return pixels;
    const auto twice = hn::Add(alpha, alpha);
    const auto divisor = hn::Max(hn::ConvertTo(df, hn::BitCast(di32, alpha)), hn::Set(df, 1.0f)); // as above
    const auto reciprocal = hn::Div(hn::Set(df, 65535.0f), divisor);
    const auto visible = hn::VecFromMask(d32, hn::Ne(alpha, hn::Zero(d32)));
    // The quotient of floats, rounded by adding 2^23, may be off by one; what is left over, small whatever wraps in 32
    // bits, tells which way: its sign, and the sign of what it lacks to one more.
    const auto over = [&](auto component) {
        const auto held = hn::Min(component, alpha);
        const auto value = hn::Mul(hn::ConvertTo(df, hn::BitCast(di32, held)), reciprocal);
        const auto bits = hn::BitCast(d32, hn::Add(value, hn::Set(df, 8388608.0f)));
        const auto guess = hn::And(bits, hn::Set(d32, 0x1FFFF));
        const auto wanted = hn::Add(hn::Mul(held, hn::Set(d32, 2 * 65535)), alpha);
        const auto left = hn::Sub(wanted, hn::Mul(twice, guess));
        const auto lower = hn::ShiftRight<31>(hn::BitCast(di32, left));                  // -1 or 0
        const auto enough = hn::ShiftRight<31>(hn::BitCast(di32, hn::Sub(left, twice))); // -1 or 0
        const auto change = hn::BitCast(d32, hn::Add(hn::Add(lower, enough), hn::Set(di32, 1)));
        return hn::And(hn::Add(guess, change), visible);
    };
    const auto greenAlpha = hn::IfThenElse(hn::MaskFromVec(alphaLanes(d16)), alpha, over(halves.greenAlpha));
    return hn::BitCast(d16, hn::Or(over(halves.redBlue), hn::ShiftLeft<16>(greenAlpha)));
}

template <Step step, class D8>
HWY_INLINE void convertShallow(D8 d8, const Orders& orders, const std::uint8_t* from, std::uint8_t* to)
{
    auto pixels = hn::TableLookupBytes(hn::LoadU(d8, from), hn::LoadDup128(d8, orders.read));
    if (step == Step::premultiply)
        pixels = premultiplied(d8, pixels);
    if (step == Step::divide)
        pixels = divided(d8, pixels);
    pixels = hn::TableLookupBytes(pixels, hn::LoadDup128(d8, orders.write));
    hn::StoreU(hn::Or(pixels, hn::LoadDup128(d8, orders.opaque)), d8, to);
}

template <int fromBytes, class D16>
HWY_INLINE hn::VFromD<D16> loadDeep(D16 d16, const std::uint8_t* from)
{
    if constexpr (fromBytes == 1) {
        const auto words = hn::PromoteTo(d16, hn::LoadU(hn::Rebind<std::uint8_t, D16>(), from));
        return hn::Or(words, hn::ShiftLeft<8>(words));
    } else {
        return hn::BitCast(d16, hn::LoadU(hn::Repartition<std::uint8_t, D16>(), from));
    }
}

template <int toBytes, class D16>
HWY_INLINE void storeDeep(D16 d16, hn::VFromD<D16> pixels, std::uint8_t* to)
{
    if constexpr (toBytes == 1) { // v ÷ 257 to nearest
        const hn::Rebind<std::uint8_t, D16> d8;
        const auto raised = hn::SaturatedAdd(pixels, hn::Set(d16, 128));
        const auto nearest = hn::ShiftRight<8>(hn::MulHigh(raised, hn::Set(d16, 65281))); // 65536 × 256 ÷ 257
        const auto words = hn::BitCast(hn::RebindToSigned<D16>(), nearest);
        hn::StoreU(hn::DemoteTo(d8, words), d8, to);
    } else {
        const hn::Repartition<std::uint8_t, D16> d8;
        hn::StoreU(hn::BitCast(d8, pixels), d8, to);
    }
}

template <int fromBytes, int toBytes, Step step, class D16>
HWY_INLINE void convertDeep(D16 d16, const Orders& orders, const std::uint8_t* from, std::uint8_t* to)
{
    const hn::Repartition<std::uint8_t, D16> d8;
    const auto reordered = [&](auto pixels, const std::uint8_t* order) {
        return hn::BitCast(d16, hn::TableLookupBytes(hn::BitCast(d8, pixels), hn::LoadDup128(d8, order)));
    };
    auto pixels = reordered(loadDeep<fromBytes>(d16, from), orders.read);
    if (step == Step::premultiply)
        pixels = deepPremultiplied(d16, pixels);
    if (step == Step::divide)
        pixels = deepDivided(d16, pixels);
    pixels = reordered(pixels, orders.write);
    storeDeep<toBytes>(d16, hn::Or(pixels, hn::BitCast(d16, hn::LoadDup128(d8, orders.opaque))), to);
}

template <int fromBytes, int toBytes, Step step>
void convertEach(const Conversion& conversion, const ConstPixels& from, const Pixels& to)
{
    constexpr bool deep = fromBytes == 2 || toBytes == 2;
    using Component = std::conditional_t<deep, std::uint16_t, std::uint8_t>;
    const hn::ScalableTag<Component> d;
    const hn::CappedTag<Component, 4> one;
    const Orders orders = makeOrders(conversion, deep ? 2 : 1);
    const std::size_t pixelsAtOnce = hn::Lanes(d) / 4;
    const auto width = static_cast<std::size_t>(to.width);
    const auto convertAt = [&](auto tag, const std::uint8_t* source, std::uint8_t* result) {
        if constexpr (deep)
            convertDeep<fromBytes, toBytes, step>(tag, orders, source, result);
        else
            convertShallow<step>(tag, orders, source, result);
    };
    for (int y = 0; y < to.height; ++y) {
        const std::uint8_t* source = from.row(y);
        std::uint8_t* result = to.row(y);
        std::size_t x = 0;
        for (; x + pixelsAtOnce <= width; x += pixelsAtOnce)
            convertAt(d, source + 4 * fromBytes * x, result + 4 * toBytes * x);
        for (; x < width; ++x)
            convertAt(one, source + 4 * fromBytes * x, result + 4 * toBytes * x);
    }
}

template <int fromBytes, int toBytes>
void convertStep(const Conversion& conversion, const ConstPixels& from, const Pixels& to)
{
    switch (conversion.step) {
    case Step::keep:
        return convertEach<fromBytes, toBytes, Step::keep>(conversion, from, to);
    case Step::premultiply:
        return convertEach<fromBytes, toBytes, Step::premultiply>(conversion, from, to);
    case Step::divide:
        return convertEach<fromBytes, toBytes, Step::divide>(conversion, from, to);
    }
}

void convertAll(const Conversion& conversion, const ConstPixels& from, const Pixels& to)
{
    if (conversion.fromBytes == 1)
        conversion.toBytes == 1 ? convertStep<1, 1>(conversion, from, to) : convertStep<1, 2>(conversion, from, to);
    else
        conversion.toBytes == 1 ? convertStep<2, 1>(conversion, from, to) : convertStep<2, 2>(conversion, from, to);
}

#endif
} // namespace
} // namespace zel::engine::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace zel::engine {
namespace {
HWY_EXPORT(convertAll);
} // namespace

void convertRows(const Conversion& conversion, const ConstPixels& from, const Pixels& to)
{
    HWY_DYNAMIC_DISPATCH(convertAll)(conversion, from, to);
}

} // namespace zel::engine
#endif // HWY_ONCE
