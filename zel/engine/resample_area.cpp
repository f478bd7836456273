#include <zel/engine/parallel.h>
#include <zel/engine/resample.h>
#include <zel/engine/resample_area_kernels.h>

#include <algorithm>
#include <atomic>
#include <mutex>
#include <new>

// A direction of n pixels and m cells is measured in parts of 1/m pixel: a pixel has m of them, a cell n, and overlaps
// are whole numbers. Rows that lie wholly in a cell are first added up column by column, which is nearly as fast as
// reading them; only then are columns gathered into cells.
namespace zel::engine {
namespace {

constexpr std::uint64_t mostPixels = std::uint64_t{1} << 46; // × 65535 stays below 2^62
constexpr int rowsAtATime = 4096;                            // × 65535 stays below 2^32

/// One direction: where cells lie.
struct Cells {
    int pixels, count;

    [[nodiscard]] int firstPixel(int cell) const { return static_cast<int>(1LL * cell * pixels / count); }
    [[nodiscard]] int endPixel(int cell) const
    {
        return static_cast<int>((1LL * (cell + 1) * pixels + count - 1) / count);
    }
    /// The last cell that pixels before `end` reach.
    [[nodiscard]] int cellBefore(int end) const { return static_cast<int>((1LL * end * count - 1) / pixels); }
    [[nodiscard]] int cellOf(int pixel) const { return static_cast<int>(1LL * pixel * count / pixels); }
    [[nodiscard]] std::uint64_t overlap(int pixel, int cell) const
    {
        const long long begin = std::max(1LL * pixel * count, 1LL * cell * pixels);
        const long long end = std::min(1LL * (pixel + 1) * count, 1LL * (cell + 1) * pixels);
        return static_cast<std::uint64_t>(end - begin);
    }
};

/// Adds sums of columns, times `weight`, to the cells of a row.
void addToCells(const Cells& columns, const std::uint32_t* columnSums, std::uint64_t weight, std::uint64_t* cells)
{
    for (int cell = 0; cell < columns.count; ++cell, cells += 4) {
        const int first = columns.firstPixel(cell);
        const int last = columns.endPixel(cell) - 1;
        for (int c = 0; c < 4; ++c) {
            const std::uint32_t* values = columnSums + c;
            std::uint64_t sum = columns.overlap(first, cell) * values[4 * static_cast<std::ptrdiff_t>(first)];
            if (last > first) {
                std::uint64_t inner = 0;
                for (int x = first + 1; x < last; ++x)
                    inner += values[4 * static_cast<std::ptrdiff_t>(x)];
                sum += inner * static_cast<std::uint64_t>(columns.count);
                sum += columns.overlap(last, cell) * values[4 * static_cast<std::ptrdiff_t>(last)];
            }
            cells[c] += sum * weight;
        }
    }
}

template <class Component>
void addFew(const Component* const* rows, int count, std::vector<std::uint32_t>& columnSums)
{
    if constexpr (sizeof(Component) == 1)
        addRows(rows, count, columnSums.data(), columnSums.size());
    else
        addRowsReference(rows, count, columnSums.data(), columnSums.size());
}

/// Adds the part of source rows [first, end) that one row of cells covers. `rowAt` gives rows by their number in the
/// source; `columnSums` is for its own use.
template <class Component, class RowAt>
void addToCellRow(const Cells& columns, const Cells& rows, int cellRow, int first, int end, const RowAt& rowAt,
                  std::vector<std::uint32_t>& columnSums, std::uint64_t* cells)
{
    first = std::max(first, rows.firstPixel(cellRow));
    end = std::min(end, rows.endPixel(cellRow));
    while (first < end) {
        const std::uint64_t weight = rows.overlap(first, cellRow);
        const int stop = std::min(end, first + rowsAtATime);
        int next = first + 1;
        while (next < stop && rows.overlap(next, cellRow) == weight)
            ++next;
        std::fill(columnSums.begin(), columnSums.end(), 0U);
        while (first < next) {
            std::array<const Component*, mostRowsAdded> few;
            const int count = std::min(next - first, mostRowsAdded);
            for (int k = 0; k < count; ++k)
                few[static_cast<std::size_t>(k)] = reinterpret_cast<const Component*>(rowAt(first + k));
            addFew(few.data(), count, columnSums);
            first += count;
        }
        addToCells(columns, columnSums.data(), weight, cells);
    }
}

template <class Component>
void writeMeans(const std::uint64_t* sums, std::uint64_t total, int columns, std::uint8_t* row)
{
    auto* out = reinterpret_cast<Component*>(row);
    for (int i = 0; i < 4 * columns; ++i)
        out[i] = static_cast<Component>((sums[i] + total / 2) / total);
}

std::size_t componentsOf(int pixels)
{
    return static_cast<std::size_t>(pixels) * 4;
}

bool measurable(int fromWidth, int fromHeight, int toWidth, int toHeight, int bytesPerPixel)
{
    return fromWidth > 0 && fromHeight > 0 && toWidth > 0 && toHeight > 0 &&
           (bytesPerPixel == 4 || bytesPerPixel == 8) &&
           static_cast<std::uint64_t>(fromWidth) * static_cast<std::uint64_t>(fromHeight) <= mostPixels;
}

/// Many rows of cells: each thread finishes its own, one after another.
template <class Component>
bool meanByRows(const ConstPixels& from, const Pixels& to, int first, int last)
try {
    const Cells columns{from.width, to.width};
    const Cells rows{from.height, to.height};
    const std::uint64_t total = static_cast<std::uint64_t>(from.width) * static_cast<std::uint64_t>(from.height);
    std::vector<std::uint32_t> columnSums(componentsOf(from.width));
    std::vector<std::uint64_t> cells(componentsOf(to.width));
    for (int y = first; y < last; ++y) {
        std::fill(cells.begin(), cells.end(), std::uint64_t{0});
        const auto rowAt = [&](int row) { return from.row(row); };
        addToCellRow<Component>(columns, rows, y, 0, from.height, rowAt, columnSums, cells.data());
        writeMeans<Component>(cells.data(), total, to.width, to.row(y));
    }
    return true;
} catch (const std::bad_alloc&) {
    return false;
}

} // namespace

bool areaMean(const ConstPixels& from, const Pixels& to)
{
    if (from.bytesPerPixel != to.bytesPerPixel ||
        !measurable(from.width, from.height, to.width, to.height, from.bytesPerPixel))
        return false;
    constexpr int manyRows = 64;
    if (to.height < manyRows) {
        AreaMean mean(from.width, from.height, to.width, to.height, from.bytesPerPixel);
        return mean.push(0, from) && mean.result(to);
    }
    const auto fill = from.bytesPerPixel == 4 ? meanByRows<std::uint8_t> : meanByRows<std::uint16_t>;
    std::atomic<bool> filled{true};
    parallelFor(to.height, std::max(1LL, 1LL * from.width * from.height / to.height), [&](int first, int last) {
        if (!fill(from, to, first, last))
            filled = false;
    });
    return filled;
}

AreaMean::AreaMean(int fromWidth, int fromHeight, int columns, int rows, int bytesPerPixel)
    : fromWidth_(fromWidth), fromHeight_(fromHeight), columns_(columns), rows_(rows), bytesPerPixel_(bytesPerPixel)
{
    if (!measurable(fromWidth, fromHeight, columns, rows, bytesPerPixel))
        return;
    try {
        sums_.resize(componentsOf(columns) * static_cast<std::size_t>(rows));
    } catch (const std::bad_alloc&) {
        sums_.clear();
    } catch (const std::length_error&) {
        sums_.clear();
    }
}

template <class Component>
bool AreaMean::addBand(int first, const ConstPixels& rows, std::mutex& mutex)
try {
    const Cells across{fromWidth_, columns_};
    const Cells down{fromHeight_, rows_};
    const int end = first + rows.height;
    const auto rowAt = [&](int row) { return rows.row(row - first); };
    std::vector<std::uint32_t> columnSums(componentsOf(fromWidth_));
    std::vector<std::uint64_t> cells(componentsOf(columns_));
    for (int cellRow = down.cellOf(first); cellRow <= down.cellBefore(end); ++cellRow) {
        std::fill(cells.begin(), cells.end(), std::uint64_t{0});
        addToCellRow<Component>(across, down, cellRow, first, end, rowAt, columnSums, cells.data());
        const std::lock_guard lock(mutex);
        std::uint64_t* sums = sums_.data() + cells.size() * static_cast<std::size_t>(cellRow);
        for (std::size_t i = 0; i < cells.size(); ++i)
            sums[i] += cells[i];
    }
    return true;
} catch (const std::bad_alloc&) {
    return false;
}

bool AreaMean::push(int first, const ConstPixels& rows)
{
    if (!valid() || first < 0 || rows.width != fromWidth_ || rows.bytesPerPixel != bytesPerPixel_ ||
        rows.height > fromHeight_ - first)
        return false;
    std::mutex mutex;
    std::atomic<bool> added{true};
    parallelFor(rows.height, rows.width, [&](int from, int to) {
        const ConstPixels band = rows.rows(from, to - from);
        const bool done = bytesPerPixel_ == 4 ? addBand<std::uint8_t>(first + from, band, mutex)
                                              : addBand<std::uint16_t>(first + from, band, mutex);
        if (!done)
            added = false;
    });
    return added;
}

std::uint64_t AreaMean::total() const
{
    return static_cast<std::uint64_t>(fromWidth_) * static_cast<std::uint64_t>(fromHeight_);
}

std::array<double, 4> AreaMean::mean(int column, int row) const
{
    std::array<double, 4> means{};
    if (!valid() || column < 0 || column >= columns_ || row < 0 || row >= rows_)
        return means;
    const std::size_t cell = static_cast<std::size_t>(row) * static_cast<std::size_t>(columns_);
    const std::uint64_t* sums = sums_.data() + 4 * (cell + static_cast<std::size_t>(column));
    for (std::size_t c = 0; c < means.size(); ++c)
        means[c] = static_cast<double>(sums[c]) / static_cast<double>(total());
    return means;
}

bool AreaMean::result(const Pixels& to) const
{
    if (!valid() || to.width != columns_ || to.height != rows_ || to.bytesPerPixel != bytesPerPixel_)
        return false;
    for (int y = 0; y < rows_; ++y) {
        const std::uint64_t* sums = sums_.data() + componentsOf(columns_) * static_cast<std::size_t>(y);
        if (bytesPerPixel_ == 4)
            writeMeans<std::uint8_t>(sums, total(), columns_, to.row(y));
        else
            writeMeans<std::uint16_t>(sums, total(), columns_, to.row(y));
    }
    return true;
}

} // namespace zel::engine
