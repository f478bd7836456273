#include <zel/engine/convolve.h>

#include <zel/engine/convolve_kernels.h>
#include <zel/engine/fill.h>
#include <zel/engine/parallel.h>
#include <zel/engine/pixel_buffer.h>

#include <cstring>

// The kernel runs over each row but its two ends, whose neighbours beyond the edge are put beside them first. Above the
// first row and below the last a row of the outside's colour stands in.
namespace zel::engine {
namespace {

class ConvolvedPicture {
public:
    ConvolvedPicture(const ConstPixels& from, const Convolution3x3& how, const Pixels& to)
        : from_(from), how_(how), to_(to), outsideRow_(from.width, 1)
    {
        if (valid())
            fill(outsideRow_.pixels(), how.outside);
    }

    [[nodiscard]] bool valid() const { return !outsideRow_.empty(); }

    void rows(int first, int last) const
    {
        for (int y = first; y < last; ++y) {
            const std::array<const std::uint8_t*, 3> around = {rowAt(y - 1), rowAt(y), rowAt(y + 1)};
            end(around, 0, to_.at(0, y));
            if (from_.width > 2)
                convolveRow({{around[0] + 4, around[1] + 4, around[2] + 4}, how_.weights}, to_.at(1, y),
                            static_cast<std::size_t>(from_.width - 2) * 4);
            if (from_.width > 1)
                end(around, from_.width - 1, to_.at(from_.width - 1, y));
        }
    }

private:
    [[nodiscard]] const std::uint8_t* rowAt(int y) const
    {
        return y < 0 || y >= from_.height ? outsideRow_.pixels().data : from_.row(y);
    }

    /// The first or last pixel of a row.
    void end(const std::array<const std::uint8_t*, 3>& around, int x, std::uint8_t* to) const
    {
        std::array<std::array<std::uint8_t, 12>, 3> nine{};
        for (std::size_t i = 0; i < 3; ++i) {
            for (int j = 0; j < 3; ++j) {
                const int column = x + j - 1;
                const bool isOutside = column < 0 || column >= from_.width;
                std::memcpy(nine[i].data() + 4 * j,
                            isOutside ? how_.outside.data() : around[i] + std::ptrdiff_t{4} * column, 4);
            }
        }
        convolveRowReference({{nine[0].data() + 4, nine[1].data() + 4, nine[2].data() + 4}, how_.weights}, to, 4);
    }

    ConstPixels from_;
    Convolution3x3 how_;
    Pixels to_;
    PixelBuffer outsideRow_;
};

} // namespace

bool convolve(const ConstPixels& from, const Convolution3x3& how, const Pixels& to)
{
    if (from.empty() || from.width != to.width || from.height != to.height || from.bytesPerPixel != 4 ||
        to.bytesPerPixel != 4)
        return false;
    const ConvolvedPicture picture(from, how, to);
    if (!picture.valid())
        return false;
    parallelFor(to.height, to.width, [&](int first, int last) { picture.rows(first, last); });
    return true;
}

} // namespace zel::engine
