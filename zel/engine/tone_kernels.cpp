#include <zel/engine/tone_kernels.h>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "zel/engine/tone_kernels.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

// A lookup among 256 values as lookups among 16, which stay in registers. The table is cut into 16 parts; part i holds
// how it differs (by exclusive or) from part i - 1, so that a value gathers all parts up to its own: an index that has
// passed below zero gathers nothing. Signed indices serve both halves, the upper one with its sign bit turned.
HWY_BEFORE_NAMESPACE();
namespace zel::engine::HWY_NAMESPACE {
namespace {
#if HWY_TARGET == HWY_SCALAR

void toneAll(const ToneTable& table, const ConstPixels& from, const Pixels& to)
{
    toneRowsReference(table, from, to);
}

#else
namespace hn = hwy::HWY_NAMESPACE;

constexpr int parts = 16;
constexpr int partSize = 16;

struct Differences {
    HWY_ALIGN std::uint8_t of[parts][partSize];
};

Differences makeDifferences(const ToneTable& table)
{
    Differences differences{};
    for (std::size_t part = 0; part < parts; ++part)
        for (std::size_t i = 0; i < partSize; ++i) {
            const std::size_t at = part * partSize + i;
            const bool beginsHalf = part == 0 || part == parts / 2;
            differences.of[part][i] =
                static_cast<std::uint8_t>(beginsHalf ? table[at] : table[at] ^ table[at - partSize]);
        }
    return differences;
}

/// The sum of one half's parts; `index` is signed.
template <class D8>
HWY_INLINE hn::VFromD<D8> halfOf(D8 d8, const Differences& differences, std::size_t firstPart, hn::VFromD<D8> index)
{
    const hn::RebindToSigned<D8> di8;
    const auto kept = hn::Set(d8, 0x8F); // the place in a part, and the sign
    auto left = hn::BitCast(di8, index);
    auto value = hn::Zero(d8);
    for (std::size_t part = firstPart; part < firstPart + parts / 2; ++part) {
        const auto at = hn::And(hn::BitCast(d8, left), kept);
        value = hn::Xor(value, hn::TableLookupBytesOr0(hn::LoadDup128(d8, differences.of[part]), at));
        left = hn::SaturatedSub(left, hn::Set(di8, partSize));
    }
    return value;
}

void toneAll(const ToneTable& table, const ConstPixels& from, const Pixels& to)
{
    const hn::ScalableTag<std::uint8_t> d8;
    const hn::Repartition<std::uint32_t, decltype(d8)> d32;
    const Differences differences = makeDifferences(table);
    const auto alpha = hn::BitCast(d8, hn::Set(d32, 0xFF000000u));
    const auto lanes = static_cast<int>(hn::Lanes(d32));
    for (int y = 0; y < from.height; ++y) {
        int x = 0;
        for (; x + lanes <= from.width; x += lanes) {
            const auto pixels = hn::LoadU(d8, from.at(x, y));
            const auto lower = halfOf(d8, differences, 0, pixels);
            const auto upper = halfOf(d8, differences, parts / 2, hn::Xor(pixels, hn::Set(d8, 0x80)));
            const auto colours = hn::AndNot(alpha, hn::Xor(lower, upper));
            hn::StoreU(hn::Or(colours, hn::And(alpha, pixels)), d8, to.at(x, y));
        }
        if (x < from.width)
            toneRowsReference(table, from.part(x, y, from.width - x, 1), to.part(x, y, from.width - x, 1));
    }
}

#endif
} // namespace
} // namespace zel::engine::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace zel::engine {
namespace {
HWY_EXPORT(toneAll);
} // namespace

void toneRows(const ToneTable& table, const ConstPixels& from, const Pixels& to)
{
    HWY_DYNAMIC_DISPATCH(toneAll)(table, from, to);
}

} // namespace zel::engine
#endif // HWY_ONCE
