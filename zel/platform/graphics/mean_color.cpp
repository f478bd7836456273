#include <zel/platform/graphics/mean_color.h>

#include <zel/engine/mean.h>
#include <zel/engine/orient.h>
#include <zel/engine/resample.h>
#include <zel/platform/foundation/guards.h>
#include <zel/platform/foundation/notes.h>
#include <zel/platform/graphics/color_space.h>
#include <zel/platform/graphics/image_rows.h>

#include <cstring>
#include <new>

namespace zel {
namespace {

constexpr engine::PixelLayout straight8 = {.alpha = engine::PixelLayout::Alpha::straight};
constexpr engine::PixelLayout straight16 = {.alpha = engine::PixelLayout::Alpha::straight, .bytesPerComponent = 2};
constexpr engine::PixelLayout premultiplied16 = {.bytesPerComponent = 2};

/// What colours are measured on: rows as they are stored, whichever way the picture lies. Of a JPEG, too, they are
/// decoded in full: an eighth of it would take two thirds of the time, but its pixels, the blocks' means, are rounded,
/// halves always upward, which moves the mean by a tenth of a level and more.
struct Stored {
    const CGImage& image;
    bool decoded;
    CGImage::Layout layout;
    Orientation orientation = Orientation::up; ///< what makes it upright

    explicit Stored(const CGImage& of) : image(of), decoded(of.isDecoded()), layout(of.layout())
    {
        if (!decoded) {
            layout = of.facts()->layout;
            orientation = of.facts()->orientation;
        }
    }
    bool read(const RowSink& sink) const
    {
        return decoded ? readRows(image, sink) : decodeBeside(*image.provider(), {}, sink);
    }
};

/// Room for rows of one width, kept from band to band.
class Scratch {
public:
    /// Empty, noted, where there is no memory.
    engine::Pixels rows(int width, int height, int bytesPerPixel)
    {
        if (buffer_.pixels().width != width || buffer_.pixels().height < height)
            buffer_ = engine::PixelBuffer(width, height, bytesPerPixel);
        if (buffer_.empty()) {
            (void)fail(ZelFailureCode::outOfMemory, "average", "no memory for rows");
            return {};
        }
        return buffer_.pixels().rows(0, height);
    }

private:
    engine::PixelBuffer buffer_;
};

/// Rows as they come, brought to sRGB where the picture has a profile.
class Source {
public:
    explicit Source(const CGImage::Layout& layout)
        : layout_(pixelLayout(layout)), transform_(ColorTransform::toSrgb(layout.colorSpace))
    {
    }

    /// The layout in which `hand` gives the rows.
    [[nodiscard]] engine::PixelLayout handed() const
    {
        return !transform_ ? layout_ : layout_.bytesPerComponent == 2 ? straight16 : straight8;
    }

    /// Calls `take` with the rows and their layout; false where there is no memory.
    template <class Take>
    bool hand(const engine::ConstPixels& rows, const Take& take)
    {
        if (!transform_) {
            take(rows, layout_);
            return true;
        }
        const auto converted = scratch_.rows(rows.width, rows.height, rows.bytesPerPixel);
        if (converted.empty() || !engine::convert(rows, layout_, converted, handed()))
            return false;
        transform_->apply(converted, converted);
        take(engine::ConstPixels(converted), handed());
        return true;
    }

private:
    engine::PixelLayout layout_;
    Ref<const ColorTransform> transform_;
    Scratch scratch_;
};

/// Adds a picture's rows to the sums of a grid. Straight colours are premultiplied in 16 bits first, so that rounding
/// is nothing to the mean.
class GridSums {
public:
    GridSums(const CGImage::Layout& layout, int columns, int rows)
        : source_(layout),
          opaque_(!hasAlpha(layout.alphaInfo)),
          widens_(!opaque_ && source_.handed().alpha == engine::PixelLayout::Alpha::straight),
          form_(widens_ ? premultiplied16 : source_.handed()),
          sums_(layout.width, layout.height, columns, rows, 4 * form_.bytesPerComponent)
    {
    }

    [[nodiscard]] bool valid() const { return sums_.valid(); }

    bool add(int first, const engine::ConstPixels& rows)
    {
        bool added = false;
        const auto take = [&](const engine::ConstPixels& srgb, engine::PixelLayout of) {
            if (!widens_) {
                added = sums_.push(first, srgb);
                return;
            }
            const auto wide = scratch_.rows(srgb.width, srgb.height, 8);
            added = !wide.empty() && engine::convert(srgb, of, wide, premultiplied16) && sums_.push(first, wide);
        };
        return source_.hand(rows, take) && added;
    }

    [[nodiscard]] std::array<double, 4> mean(int column, int row) const
    {
        auto mean = sums_.mean(column, row);
        for (double& component : mean)
            component /= form_.bytesPerComponent == 2 ? 257 : 1;
        if (form_.alphaFirst)
            mean = {mean[1], mean[2], mean[3], mean[0]};
        if (opaque_)
            mean[3] = 255;
        return mean;
    }

private:
    Source source_;
    bool opaque_, widens_;
    engine::PixelLayout form_;
    engine::AreaMean sums_;
    Scratch scratch_;
};

/// For each cell of the upright grid, row after row, the number of the stored grid's cell.
std::vector<std::uint32_t> storedCells(Orientation orientation, int columns, int rows)
{
    const bool swapped = swapsSides(orientation);
    engine::PixelBuffer numbers(swapped ? rows : columns, swapped ? columns : rows), upright(columns, rows);
    if (numbers.empty() || upright.empty())
        throw std::bad_alloc();
    std::vector<std::uint32_t> cells(static_cast<std::size_t>(columns) * static_cast<std::size_t>(rows));
    for (std::uint32_t i = 0; i < cells.size(); ++i)
        cells[i] = i;
    std::memcpy(numbers.pixels().data, cells.data(), numbers.sizeInBytes());
    (void)engine::orient(std::as_const(numbers).pixels(), static_cast<engine::Orientation>(orientation),
                         upright.pixels());
    std::memcpy(cells.data(), upright.pixels().data, upright.sizeInBytes());
    return cells;
}

} // namespace

std::optional<std::array<double, 4>> meanColor(const CGImage& image)
{
    const Stored stored(image);
    engine::MeanAccumulator mean;
    Source source(stored.layout);
    const bool done = stored.read([&](int, const engine::ConstPixels& rows) {
        return source.hand(rows, [&](const engine::ConstPixels& srgb, engine::PixelLayout of) { mean.add(srgb, of); });
    });
    return done ? std::optional(mean.mean()) : std::nullopt;
}

std::vector<std::array<double, 4>> meanGrid(const CGImage& image, int columns, int rows)
try {
    if (columns < 1 || rows < 1)
        return fail(ZelFailureCode::invalidArgument, "colour grid", "a grid has at least one column and one row");
    constexpr int bytesPerCell = 128; // sums, means, and what callers make of them
    if (!withinOperationLimits({static_cast<CGFloat>(columns), static_cast<CGFloat>(rows)}, bytesPerCell,
                               "colour grid"))
        return {};
    const Stored stored(image);
    const bool swapped = swapsSides(stored.orientation);
    const int across = swapped ? rows : columns;
    GridSums sums(stored.layout, across, swapped ? columns : rows);
    if (!sums.valid())
        throw std::bad_alloc();
    if (!stored.read([&](int first, const engine::ConstPixels& band) { return sums.add(first, band); }))
        return {};
    std::vector<std::array<double, 4>> grid;
    grid.reserve(static_cast<std::size_t>(columns) * static_cast<std::size_t>(rows));
    for (const std::uint32_t cell : storedCells(stored.orientation, columns, rows))
        grid.push_back(sums.mean(static_cast<int>(cell) % across, static_cast<int>(cell) / across));
    return grid;
} catch (const std::bad_alloc&) {
    return fail(ZelFailureCode::outOfMemory, "colour grid", "no memory for the colours");
}

} // namespace zel
