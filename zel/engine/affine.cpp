#include <zel/engine/affine.h>
#include <zel/engine/affine_kernels.h>
#include <zel/engine/blend.h>
#include <zel/engine/blend_kernels.h>
#include <zel/engine/fill.h>
#include <zel/engine/parallel.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

// Positions advance along a row in whole numbers of 2^-32 pixels from the row's first pixel, so a pixel's position is
// the same wherever bands and runs begin. Each row falls into runs: outside, where nothing of the source shows; the
// rim, where one of the four pixels is missing; and the inside, which the kernel draws without looking.
namespace zel::engine {
namespace {

constexpr double unit = 4294967296.0; // 2^32 steps a pixel
// A row of the target that cuts through more rows of the source than this goes by tiles whose source stays in the
// cache; flatter ones are faster whole, as memory is then read in its order.
constexpr double rowsCutThrough = 1200;
constexpr int tileHeight = 16;
constexpr int tileWidth = 256;
constexpr double furthest = 536870912.0; // 2^29 pixels: steps and sums of positions then stay within 63 bits

/// Pixels [first, last) of a row; nothing where last is not above first.
struct Range {
    int first, last;
};

Range common(Range a, Range b)
{
    return {std::max(a.first, b.first), std::min(a.last, b.last)};
}

std::int64_t dividedUp(std::int64_t value, std::int64_t divisor)
{
    return value / divisor + (value % divisor > 0 ? 1 : 0);
}

std::int64_t dividedDown(std::int64_t value, std::int64_t divisor)
{
    return value / divisor - (value % divisor < 0 ? 1 : 0);
}

/// The x of [0, width) for which start + x × step lies in [least, most].
Range between(std::int64_t start, std::int64_t step, std::int64_t least, std::int64_t most, int width)
{
    if (step == 0)
        return start >= least && start <= most ? Range{0, width} : Range{0, 0};
    if (step < 0)
        return between(-start, -step, -most, -least, width);
    const auto inRow = [width](std::int64_t x) { return static_cast<int>(std::clamp<std::int64_t>(x, 0, width)); };
    return {inRow(dividedUp(least - start, step)), inRow(dividedDown(most - start, step) + 1)};
}

/// Pixels whose four neighbours have columns (or rows) in [-1 + inset, size - inset].
Range reaching(std::int64_t start, std::int64_t step, int size, int inset, int width)
{
    const std::int64_t least = (std::int64_t{inset} - 1) * (std::int64_t{1} << 32);
    const std::int64_t most = (std::int64_t{size} - inset) * (std::int64_t{1} << 32) - 1;
    return between(start, step, least, most, width);
}

class AffineRows {
public:
    AffineRows(const ConstPixels& from, const Pixels& to, const AffineDrawing& drawing)
        : to_(to),
          map_(drawing.map),
          row_{from, 0, 0, fixed(map_.xx), fixed(map_.yx), fixedOpacity(drawing.opacity), drawing.rim, drawing.onto}
    {
    }

    void draw(int first, int last) const
    {
        const int stepAcross = std::abs(map_.yx) * to_.width > rowsCutThrough ? tileWidth : to_.width;
        std::array<Spans, tileHeight> spans;
        for (int top = first; top < last; top += tileHeight) {
            const int count = std::min(tileHeight, last - top);
            for (int i = 0; i < count; ++i)
                spans[static_cast<std::size_t>(i)] = spansOf(top + i);
            for (int left = 0; left < to_.width; left += stepAcross)
                for (int i = 0; i < count; ++i)
                    drawPart(spans[static_cast<std::size_t>(i)], top + i,
                             {left, std::min(to_.width, left + stepAcross)});
        }
    }

private:
    /// How a row of the target falls into runs.
    struct Spans {
        AffineRun row; ///< from the first pixel of the target's row
        Range visible; ///< something of the source shows
        Range inside;  ///< of those: nothing else does
    };

    [[nodiscard]] Spans spansOf(int y) const
    {
        Spans spans{row_, {0, to_.width}, {}};
        AffineRun& row = spans.row;
        row.u = fixed(map_.xx * 0.5 + map_.xy * (y + 0.5) + map_.x0 - 0.5);
        row.v = fixed(map_.yx * 0.5 + map_.yy * (y + 0.5) + map_.y0 - 0.5);
        if (row.rim == Rim::clear)
            spans.visible = touched(row, 0);
        if (spans.visible.first >= spans.visible.last)
            spans.visible = {0, 0};
        spans.inside = common(touched(row, 1), spans.visible);
        if (spans.inside.first >= spans.inside.last)
            spans.inside = {spans.visible.last, spans.visible.last};
        return spans;
    }

    void drawPart(const Spans& spans, int y, Range part) const
    {
        const auto [visible, inside] = std::pair(spans.visible, spans.inside);
        clear(y, common(part, {0, visible.first}));
        drawRun(spans.row, y, common(part, {visible.first, inside.first}), drawAffineAnywhere);
        drawRun(spans.row, y, common(part, inside), drawAffineInside);
        drawRun(spans.row, y, common(part, {inside.last, visible.last}), drawAffineAnywhere);
        clear(y, common(part, {visible.last, to_.width}));
    }

    static std::int64_t fixed(double pixels) { return std::llround(pixels * unit); }

    [[nodiscard]] Range touched(const AffineRun& row, int inset) const
    {
        return common(reaching(row.u, row.du, row.from.width, inset, to_.width),
                      reaching(row.v, row.dv, row.from.height, inset, to_.width));
    }

    void clear(int y, Range range) const
    {
        if (row_.onto == Onto::replace && range.last > range.first)
            std::memset(to_.at(range.first, y), 0, static_cast<std::size_t>(range.last - range.first) * 4);
    }

    template <class Kernel>
    void drawRun(AffineRun run, int y, Range range, const Kernel& kernel) const
    {
        if (range.last <= range.first)
            return;
        run.u += range.first * run.du;
        run.v += range.first * run.dv;
        kernel(run, to_.at(range.first, y), static_cast<std::size_t>(range.last - range.first));
    }

    Pixels to_;
    AffineMap map_;
    AffineRun row_; ///< without its position
};

bool staysNear(const AffineMap& map, int width, int height)
{
    for (const double x : {0.0, double(width)})
        for (const double y : {0.0, double(height)})
            if (!(std::abs(map.xx * x + map.xy * y + map.x0) < furthest) ||
                !(std::abs(map.yx * x + map.yy * y + map.y0) < furthest))
                return false;
    return true;
}

bool isWholeMove(const AffineMap& map)
{
    return map.xx == 1 && map.xy == 0 && map.yx == 0 && map.yy == 1 && map.x0 == std::floor(map.x0) &&
           map.y0 == std::floor(map.y0);
}

/// The picture moved by whole pixels over the target: the part that meets it, blended as it is.
bool drawMoved(const ConstPixels& from, const Pixels& to, const AffineDrawing& drawing)
{
    const int left = std::max(0, static_cast<int>(-drawing.map.x0));
    const int top = std::max(0, static_cast<int>(-drawing.map.y0));
    const int sourceLeft = std::max(0, static_cast<int>(drawing.map.x0));
    const int sourceTop = std::max(0, static_cast<int>(drawing.map.y0));
    const int width = std::min(to.width - left, from.width - sourceLeft);
    const int height = std::min(to.height - top, from.height - sourceTop);
    if (width < 1 || height < 1)
        return true;
    return sourceOver(from.part(sourceLeft, sourceTop, width, height), to.part(left, top, width, height),
                      drawing.opacity);
}

} // namespace

bool drawAffine(const ConstPixels& from, const Pixels& to, const AffineDrawing& drawing)
{
    if (from.empty() || to.empty() || from.bytesPerPixel != 4 || to.bytesPerPixel != 4 ||
        !staysNear(drawing.map, to.width, to.height))
        return false;
    if (isWholeMove(drawing.map) && drawing.rim == Rim::clear && drawing.onto == Onto::over)
        return drawMoved(from, to, drawing);
    const AffineRows rows(from, to, drawing);
    parallelFor(to.height, to.width, [&](int first, int last) { rows.draw(first, last); });
    return true;
}

} // namespace zel::engine
