#pragma once
#include <zel/engine/resample_kernels.h>

#include <algorithm>

namespace zel::engine {

/// What `resample` and `RowResampler` work out before they touch a pixel.
struct Plan {
    /// Whatever makes the cheaper pass run over the larger number of rows: the vertical one is the cheaper.
    enum class Order { copy, verticalFirst, horizontalFirst };

    Axis rows;
    RowTaps columns; ///< counted from `firstColumn`
    Order order;
    Hold hold;
    int firstColumn; ///< of the source, that counts
    int columnCount;

    [[nodiscard]] int toWidth() const { return static_cast<int>(columns.axis.taps.size()); }
    [[nodiscard]] int toHeight() const { return static_cast<int>(rows.taps.size()); }
    [[nodiscard]] const Taps& row(int y) const { return rows.taps[static_cast<std::size_t>(y)]; }
    /// Components of a source row that count, and of a result row.
    [[nodiscard]] std::size_t fromComponents() const { return static_cast<std::size_t>(columnCount) * 4; }
    [[nodiscard]] std::size_t toComponents() const { return static_cast<std::size_t>(toWidth()) * 4; }
    /// Source pixels that a row of the result takes, for `parallelFor`.
    [[nodiscard]] long long pixelsPerRow() const;
};

/// Absent where `resample` refuses the sizes. Throws std::bad_alloc.
std::optional<Plan> makePlan(const RowResamplerSizes& sizes, Kernel kernel, const Window& window, Alpha alpha);

/// Rows of the result that are copies of source pixels: `in` is the source row, from its first pixel.
void copyRow(const Plan& plan, const std::uint8_t* in, std::uint8_t* out, int bytesPerPixel);

/// Rows of values between the passes: `count` rows of `pixels` pixels, and zeros for what kernels read behind them.
template <class Value>
class ScratchRows {
public:
    ScratchRows(int pixels, int count, int behind = 0) : buffer_(sumOrNone(pixels, behind), count, 4 * sizeof(Value))
    {
        for (int i = 0; i < count && valid(); ++i)
            std::fill_n(row(i) + 4 * static_cast<std::ptrdiff_t>(pixels), 4 * static_cast<std::ptrdiff_t>(behind),
                        Value{});
    }

    [[nodiscard]] bool valid() const { return !buffer_.empty(); }
    [[nodiscard]] Value* row(int i) { return reinterpret_cast<Value*>(buffer_.pixels().row(i)); }

private:
    /// 0, which no buffer has, where the sum is too large.
    static int sumOrNone(int a, int b) { return a > std::numeric_limits<int>::max() - b ? 0 : a + b; }

    PixelBuffer buffer_;
};

/// Pixels at a row as components.
template <class Component>
const Component* componentsAt(const std::uint8_t* row, int x)
{
    return reinterpret_cast<const Component*>(row) + 4 * static_cast<std::ptrdiff_t>(x);
}

} // namespace zel::engine
