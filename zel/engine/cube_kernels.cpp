#include <zel/engine/cube_kernels.h>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "zel/engine/cube_kernels.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include <cstring>

// Two steps for a block of pixels. First, in lanes of one pixel each: where it stands in the lattice, and the weights
// of its four pairs of neighbours. Then pixel by pixel, in 128 bits: four loads of entries, each multiplied by its pair
// of weights and summed.
HWY_BEFORE_NAMESPACE();
namespace zel::engine::HWY_NAMESPACE {
namespace {
#if HWY_TARGET == HWY_SCALAR

void cubeAll(const ColorCube& cube, const ConstPixels& from, const Pixels& to)
{
    cubeRowsReference(cube, from, to);
}

#else
namespace hn = hwy::HWY_NAMESPACE;

constexpr std::size_t blockSize = 64; // pixels: a multiple of every vector's lanes

/// Of each pixel of a block: its entry, and for each pair of neighbours both weights, the near one's in the lower half.
struct Block {
    HWY_ALIGN std::uint32_t entry[blockSize];
    HWY_ALIGN std::uint32_t weights[4][blockSize];
};

template <class D32>
struct Position {
    hn::VFromD<D32> index, fraction;
};

/// Products below 2^16 of values below 2^16 in lanes of 32 bits.
template <class D32>
HWY_INLINE hn::VFromD<D32> times(D32 d32, hn::VFromD<D32> a, hn::VFromD<D32> b)
{
    const hn::Repartition<std::uint16_t, D32> d16;
    return hn::BitCast(d32, hn::Mul(hn::BitCast(d16, a), hn::BitCast(d16, b)));
}

/// a × b ÷ 16384, cut off.
template <class D32>
HWY_INLINE hn::VFromD<D32> share(D32 d32, hn::VFromD<D32> a, hn::VFromD<D32> b)
{
    const hn::Repartition<std::uint16_t, D32> d16;
    return hn::BitCast(d32, hn::MulHigh(hn::BitCast(d16, hn::Add(a, a)), hn::BitCast(d16, hn::Add(b, b))));
}

template <class D32>
HWY_INLINE Position<D32> positionOf(D32 d32, hn::VFromD<D32> value, hn::VFromD<D32> steps)
{
    const auto scaled = times(d32, value, steps);
    const auto raised = hn::Add(hn::Add(scaled, hn::Set(d32, 1)), hn::ShiftRight<8>(scaled));
    const auto index = hn::ShiftRight<8>(raised); // ÷ 255, exact below 65535
    const auto rest = hn::Add(hn::Sub(scaled, hn::ShiftLeft<8>(index)), index);
    const auto fraction = hn::ShiftRight<2>(hn::Add(hn::Add(rest, hn::ShiftLeft<8>(rest)), hn::Set(d32, 2)));
    return {index, fraction};
}

HWY_INLINE void placeBlock(const std::uint8_t* from, std::uint32_t side, Block& block)
{
    const hn::ScalableTag<std::uint32_t> d32;
    const hn::Repartition<std::uint8_t, decltype(d32)> d8;
    const auto sides = hn::Set(d32, side);
    const auto steps = hn::Set(d32, side - 1);
    const auto byte = hn::Set(d32, 255);
    for (std::size_t x = 0; x < blockSize; x += hn::Lanes(d32)) {
        const auto pixels = hn::BitCast(d32, hn::LoadU(d8, from + 4 * x));
        const auto red = positionOf(d32, hn::And(pixels, byte), steps);
        const auto green = positionOf(d32, hn::And(hn::ShiftRight<8>(pixels), byte), steps);
        const auto blue = positionOf(d32, hn::And(hn::ShiftRight<16>(pixels), byte), steps);
        const auto line = hn::Add(times(d32, blue.index, sides), green.index);
        hn::Store(hn::Add(hn::Mul(line, sides), red.index), d32, block.entry + x);
        const auto both = share(d32, green.fraction, blue.fraction);
        const auto onlyGreen = hn::Sub(green.fraction, both);
        const auto onlyBlue = hn::Sub(blue.fraction, both);
        const auto neither = hn::Sub(hn::Sub(hn::Set(d32, 16384), green.fraction), onlyBlue);
        const auto storePair = [&](hn::VFromD<decltype(d32)> weight, std::uint32_t* to) {
            const auto far = share(d32, weight, red.fraction);
            hn::Store(hn::Or(hn::Sub(weight, far), hn::ShiftLeft<16>(far)), d32, to);
        };
        storePair(neither, block.weights[0] + x);
        storePair(onlyGreen, block.weights[1] + x);
        storePair(onlyBlue, block.weights[2] + x);
        storePair(both, block.weights[3] + x);
    }
}

/// `from` and `to` have a whole block's pixels.
HWY_INLINE void cubeBlock(const ColorCube& cube, const std::uint8_t* from, std::uint8_t* to)
{
    const hn::CappedTag<std::int16_t, 8> d16; // one entry
    const hn::Repartition<std::int32_t, decltype(d16)> d32;
    const hn::Rebind<std::uint8_t, decltype(d32)> quarter;
    const hn::Repartition<std::uint32_t, decltype(d16)> du32;
    Block block;
    placeBlock(from, static_cast<std::uint32_t>(cube.side()), block);
    const std::ptrdiff_t line = std::ptrdiff_t{cubeEntrySize} * cube.side();
    const std::ptrdiff_t slice = line * cube.side();
    HWY_ALIGN std::uint8_t colours[4 * blockSize];
    for (std::size_t x = 0; x < blockSize; ++x) {
        const std::int16_t* entry = cube.entries() + std::size_t{cubeEntrySize} * block.entry[x];
        auto high = hn::Zero(d32);
        auto low = hn::Set(d32, 1 << 20);
        const auto add = [&](const std::int16_t* pair, std::size_t corner) {
            const auto weights = hn::BitCast(d16, hn::Set(du32, block.weights[corner][x]));
            low = hn::ReorderWidenMulAccumulate(d32, hn::LoadU(d16, pair), weights, low, high);
        };
        add(entry, 0);
        add(entry + line, 1);
        add(entry + slice, 2);
        add(entry + slice + line, 3);
        const auto sum = hn::ShiftRight<21>(hn::RearrangeToOddPlusEven(low, high));
        hn::StoreU(hn::DemoteTo(quarter, sum), quarter, colours + 4 * x);
    }
    const hn::ScalableTag<std::uint8_t> d8;
    const auto alpha = hn::BitCast(d8, hn::Set(hn::Repartition<std::uint32_t, decltype(d8)>(), 0xFF000000u));
    for (std::size_t i = 0; i < sizeof colours; i += hn::Lanes(d8)) // the colours' fourth component is 0
        hn::StoreU(hn::Or(hn::Load(d8, colours + i), hn::And(alpha, hn::LoadU(d8, from + i))), d8, to + i);
}

void cubeAll(const ColorCube& cube, const ConstPixels& from, const Pixels& to)
{
    const auto width = static_cast<std::size_t>(from.width);
    for (int y = 0; y < from.height; ++y) {
        std::size_t x = 0;
        for (; x + blockSize <= width; x += blockSize)
            cubeBlock(cube, from.row(y) + 4 * x, to.row(y) + 4 * x);
        if (x < width) {
            std::uint8_t last[4 * blockSize] = {};
            std::memcpy(last, from.row(y) + 4 * x, 4 * (width - x));
            cubeBlock(cube, last, last);
            std::memcpy(to.row(y) + 4 * x, last, 4 * (width - x));
        }
    }
}

#endif
} // namespace
} // namespace zel::engine::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace zel::engine {
namespace {
HWY_EXPORT(cubeAll);
} // namespace

void cubeRows(const ColorCube& cube, const ConstPixels& from, const Pixels& to)
{
    HWY_DYNAMIC_DISPATCH(cubeAll)(cube, from, to);
}

} // namespace zel::engine
#endif // HWY_ONCE
