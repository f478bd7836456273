#include <zel/engine/orient_kernels.h>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "zel/engine/orient_kernels.cpp"
#include <hwy/foreach_target.h>
#include <hwy/cache_control.h>
#include <hwy/highway.h>

#include <algorithm>

// Blocks of pixels are transposed in registers: the rows of a block are loaded so that each 128-bit part of a vector
// holds four pixels of another row, the four by four in each part is transposed by interleaving, and what comes out are
// whole vectors of the result's rows.
HWY_BEFORE_NAMESPACE();
namespace zel::engine::HWY_NAMESPACE {
namespace {
#if HWY_TARGET == HWY_SCALAR

void transposeAll(const ConstPixels& from, const Pixels& to)
{
    transposePixelsReference(from, to);
}

void mirrorAll(const ConstPixels& from, const Pixels& to)
{
    mirrorRowsReference(from, to);
}

#else
namespace hn = hwy::HWY_NAMESPACE;

/// 16 bytes from each of one, two or four rows that lie `apart` bytes from one another.
template <class D8>
HWY_INLINE hn::VFromD<D8> loadParts(D8 d8, const std::uint8_t* from, std::ptrdiff_t apart)
{
    if constexpr (hn::MaxLanes(d8) <= 16) {
        static_cast<void>(apart);
        return hn::LoadU(d8, from);
    } else {
        const hn::Half<D8> half;
        constexpr auto rows = static_cast<std::ptrdiff_t>(hn::MaxLanes(half) / 16);
        return hn::Combine(d8, loadParts(half, from + rows * apart, apart), loadParts(half, from, apart));
    }
}

/// Four columns of 4-byte pixels, as many rows as a vector holds pixels.
template <class D32>
HWY_INLINE void transposeBlock(D32 d32, const std::uint8_t* from, std::ptrdiff_t fromStride, std::uint8_t* to,
                               std::ptrdiff_t toStride)
{
    const hn::Repartition<std::uint8_t, D32> d8;
    const hn::Repartition<std::uint64_t, D32> d64;
    const auto load = [&](std::ptrdiff_t row) {
        return hn::BitCast(d32, loadParts(d8, from + row * fromStride, 4 * fromStride));
    };
    const auto store = [&](auto pixels, std::ptrdiff_t row) {
        hn::StoreU(hn::BitCast(d8, pixels), d8, to + row * toStride);
    };
    const auto a = load(0), b = load(1), c = load(2), d = load(3);
    const auto abLow = hn::BitCast(d64, hn::InterleaveLower(d32, a, b));
    const auto abHigh = hn::BitCast(d64, hn::InterleaveUpper(d32, a, b));
    const auto cdLow = hn::BitCast(d64, hn::InterleaveLower(d32, c, d));
    const auto cdHigh = hn::BitCast(d64, hn::InterleaveUpper(d32, c, d));
    store(hn::InterleaveLower(d64, abLow, cdLow), 0);
    store(hn::InterleaveUpper(d64, abLow, cdLow), 1);
    store(hn::InterleaveLower(d64, abHigh, cdHigh), 2);
    store(hn::InterleaveUpper(d64, abHigh, cdHigh), 3);
}

/// Two columns of 8-byte pixels, as many rows as a vector holds pixels.
template <class D64>
HWY_INLINE void transposeDeepBlock(D64 d64, const std::uint8_t* from, std::ptrdiff_t fromStride, std::uint8_t* to,
                                   std::ptrdiff_t toStride)
{
    const hn::Repartition<std::uint8_t, D64> d8;
    const auto load = [&](std::ptrdiff_t row) {
        return hn::BitCast(d64, loadParts(d8, from + row * fromStride, 2 * fromStride));
    };
    const auto a = load(0), b = load(1);
    hn::StoreU(hn::BitCast(d8, hn::InterleaveLower(d64, a, b)), d8, to);
    hn::StoreU(hn::BitCast(d8, hn::InterleaveUpper(d64, a, b)), d8, to + toStride);
}

constexpr int cacheLine = 64;
constexpr int tileWidth = 64; ///< of the result

/// Bytes from a pixel of this tile to the same of the next one; 0 where there is none.
struct NextTile {
    std::ptrdiff_t from, to;
};

/// A tile of the result, as many rows high as a cache line has pixels: each line of the source is then read once. Rows
/// lie too far apart for the processor to see coming what is next, so both sides of the next tile are asked for.
template <class Pixel>
void transposeTile(const ConstPixels& from, const Pixels& to, NextTile next)
{
    const hn::ScalableTag<Pixel> d;
    constexpr int columns = 16 / static_cast<int>(sizeof(Pixel)); // of the source, rows of the result
    const int rows = static_cast<int>(hn::Lanes(d));
    const int wholeColumns = to.height / columns * columns;
    const int wholeRows = to.width / rows * rows;
    for (int y = 0; y < wholeColumns; y += columns) {
        for (int x = 0; x < wholeRows; x += rows) {
            for (int row = x; y == 0 && row < x + rows; ++row)
                hwy::Prefetch(from.at(0, row) + next.from);
            for (int row = y; row < y + columns; ++row)
                hwy::Prefetch(to.at(x, row) + next.to);
            if constexpr (sizeof(Pixel) == 4)
                transposeBlock(d, from.at(y, x), from.stride, to.at(x, y), to.stride);
            else
                transposeDeepBlock(d, from.at(y, x), from.stride, to.at(x, y), to.stride);
        }
    }
    const auto rest = [&](int x, int y, int width, int height) {
        if (width > 0 && height > 0)
            transposePixelsReference(from.part(y, x, height, width), to.part(x, y, width, height));
    };
    rest(wholeRows, 0, to.width - wholeRows, wholeColumns);
    rest(0, wholeColumns, to.width, to.height - wholeColumns);
}

template <class Pixel>
void transposeEach(const ConstPixels& from, const Pixels& to)
{
    constexpr int tileHeight = cacheLine / static_cast<int>(sizeof(Pixel));
    for (int y = 0; y < to.height; y += tileHeight) {
        for (int x = 0; x < to.width; x += tileWidth) {
            const int width = std::min(tileWidth, to.width - x);
            const int height = std::min(tileHeight, to.height - y);
            const bool more = x + 2 * tileWidth <= to.width;
            const NextTile next{more ? tileWidth * from.stride : 0, more ? tileWidth * to.bytesPerPixel : 0};
            transposeTile<Pixel>(from.part(y, x, height, width), to.part(x, y, width, height), next);
        }
    }
}

void transposeAll(const ConstPixels& from, const Pixels& to)
{
    if (to.bytesPerPixel == 4)
        transposeEach<std::uint32_t>(from, to);
    else
        transposeEach<std::uint64_t>(from, to);
}

template <class Pixel>
void mirrorEach(const ConstPixels& from, const Pixels& to)
{
    // Read forwards and written backwards: the other way round it takes twice the time.
    const hn::ScalableTag<Pixel> d;
    const hn::Repartition<std::uint8_t, decltype(d)> d8;
    const int lanes = static_cast<int>(hn::Lanes(d));
    for (int y = 0; y < to.height; ++y) {
        int x = 0;
        for (; x + lanes <= to.width; x += lanes) {
            const auto pixels = hn::BitCast(d, hn::LoadU(d8, from.at(x, y)));
            hn::StoreU(hn::BitCast(d8, hn::Reverse(d, pixels)), d8, to.at(to.width - x - lanes, y));
        }
        if (x < to.width)
            mirrorRowsReference(from.part(x, y, to.width - x, 1), to.part(0, y, to.width - x, 1));
    }
}

void mirrorAll(const ConstPixels& from, const Pixels& to)
{
    if (to.bytesPerPixel == 4)
        mirrorEach<std::uint32_t>(from, to);
    else
        mirrorEach<std::uint64_t>(from, to);
}

#endif
} // namespace
} // namespace zel::engine::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace zel::engine {
namespace {
HWY_EXPORT(transposeAll);
HWY_EXPORT(mirrorAll);
} // namespace

void transposePixels(const ConstPixels& from, const Pixels& to)
{
    HWY_DYNAMIC_DISPATCH(transposeAll)(from, to);
}

void mirrorRows(const ConstPixels& from, const Pixels& to)
{
    HWY_DYNAMIC_DISPATCH(mirrorAll)(from, to);
}

} // namespace zel::engine
#endif // HWY_ONCE
