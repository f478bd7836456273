#pragma once
#include <zel/engine/pixel_buffer.h>
#include <zel/engine/pixels.h>

#include <array>
#include <functional>
#include <limits>
#include <memory>
#include <mutex>
#include <vector>

// Pictures at other sizes. Common to everything here: four components of 8 or 16 bits (`bytesPerPixel` 4 or 8, the same
// in source and result), treated alike, so pictures with transparency come premultiplied; positions are in pixels with
// the origin at the top left and pixel centres at half integers; the same bytes come out for any number of threads,
// any cut into bands and any instruction set.
namespace zel::engine {

enum class Kernel {
    nearest,  ///< the pixel at floor((i + 0.5) × scale)
    triangle, ///< bilinear where it enlarges; widened to the scale where it reduces, so nothing aliases
    lanczos3, ///< Lanczos of three lobes, widened likewise; may overshoot, results are held to the range
};

enum class Alpha {
    opaque,        ///< the fourth component is nothing to the others
    premultiplied, ///< no colour of a result exceeds its alpha
};

/// The part of the source that fills all of the result. Weights reach beyond it where the source does, and are brought
/// to a sum of 1 again where the source ends. Positions outside the source repeat its edge.
struct Window {
    double x = 0;
    double y = 0;
    double width = std::numeric_limits<double>::infinity();  ///< infinite: up to the right side of the source
    double height = std::numeric_limits<double>::infinity(); ///< infinite: down to its last row

    friend bool operator==(const Window&, const Window&) = default;
};

inline constexpr Window whole{};

/// Fills all of `to` from the window of `from`; the two must not overlap. A flat area stays flat exactly; whole pixels
/// of a window of the result's size are copied. False: a side is 0, the pixels differ in size or are neither 4 nor 8
/// bytes, the window has no area or is not finite, or memory ran out (then part of `to` may have been written). Cost:
/// vertical taps × window + horizontal taps × rows of the result, where the picture is reduced; over all cores.
[[nodiscard]] bool resample(const ConstPixels& from, const Pixels& to, Kernel kernel, const Window& window = whole,
                            Alpha alpha = Alpha::premultiplied);

/// What `RowResampler` makes of what.
struct RowResamplerSizes {
    int fromWidth, fromHeight;
    int toWidth, toHeight;
    int bytesPerPixel = 4;
};

/// `resample` for a source that comes by rows. Holds a few rows of sums or filtered rows, and a strip of the result,
/// never the source.
class RowResampler {
public:
    /// Takes finished rows of the result, in order; they are valid during the call. False stops.
    using Consumer = std::function<bool(int first, const ConstPixels& rows)>;

    RowResampler(const RowResamplerSizes& sizes, Kernel kernel, const Window& window, Alpha alpha, Consumer consumer);
    ~RowResampler();
    RowResampler(RowResampler&&) noexcept;
    RowResampler& operator=(RowResampler&&) noexcept;

    /// False when `resample` would refuse such sizes or memory ran out: `push` then refuses too.
    [[nodiscard]] bool valid() const;
    /// Rows of the source that count: [firstRow, endRow). Others may be left out or pushed.
    [[nodiscard]] int firstRow() const;
    [[nodiscard]] int endRow() const;
    /// Takes source rows [first, first + rows.height), of the source's width. Bands may have any height, come in order,
    /// and leave out no row that counts. False: the consumer stopped, the band does not follow, memory ran out.
    [[nodiscard]] bool push(int first, const ConstPixels& rows);
    /// True once the last row of the result has been handed on.
    [[nodiscard]] bool finished() const;

private:
    std::unique_ptr<class RowResamplerState> state_;
};

/// Fills each pixel of `to` with the mean of `from` over the area that it covers, parts of pixels included, rounded to
/// nearest. Exact: the sums are integers. False as for `resample`, or when width × height of the source passes 2^46.
[[nodiscard]] bool areaMean(const ConstPixels& from, const Pixels& to);

/// The same for a source that comes by rows in bands of any height; holds the sums of a grid of columns × rows cells.
class AreaMean {
public:
    AreaMean(int fromWidth, int fromHeight, int columns, int rows, int bytesPerPixel = 4);

    [[nodiscard]] bool valid() const { return !sums_.empty(); }
    /// Adds source rows [first, first + rows.height); each row once, in any order. False: they do not fit.
    [[nodiscard]] bool push(int first, const ConstPixels& rows);
    /// The mean over a cell of the grid, by component, 0 to 255 or 0 to 65535. All rows must have been pushed.
    [[nodiscard]] std::array<double, 4> mean(int column, int row) const;
    /// The grid as a picture, rounded to nearest. False when `to` is not columns × rows of the source's pixels.
    [[nodiscard]] bool result(const Pixels& to) const;

private:
    template <class Component>
    bool addBand(int first, const ConstPixels& rows, std::mutex& mutex);
    [[nodiscard]] std::uint64_t total() const;

    int fromWidth_, fromHeight_, columns_, rows_, bytesPerPixel_;
    std::vector<std::uint64_t> sums_; ///< component × overlap, an overlap with a whole pixel counting columns × rows
};

} // namespace zel::engine
