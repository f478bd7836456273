#pragma once
#include <zel/engine/pixels.h>
#include <zel/platform/graphics/cg_image.h>

#include <functional>
#include <string>

namespace zel {

/// How stored rows become the upright picture, by the numbers of EXIF: 1 as it is, 2 mirrored left to right, 3 turned
/// by 180°, 4 mirrored top to bottom, 5 transposed, 6 turned clockwise by 90°, 7 transposed across the other diagonal,
/// 8 turned anticlockwise by 90°.
enum class Orientation : std::uint8_t { up = 1, mirrored, down, downMirrored, transposed, right, transverse, left };

inline bool swapsSides(Orientation orientation)
{
    return orientation >= Orientation::transposed;
}

/// What an encoded picture says of itself before its pixels are decoded.
struct PictureFacts {
    CGImage::Layout layout;                    ///< as `decode` delivers it; width and height as stored
    Orientation orientation = Orientation::up; ///< what makes it upright
    double dpiX = 0, dpiY = 0;                 ///< 0 where none is given or the figure is absurd
    std::string format;                        ///< "jpeg", "png", "tiff"
    int frames = 1;                            ///< pictures in the file
    int bits = 8;                              ///< a component, in the file
    bool hasAlpha = false;
};

/// Width and height upright, in pixels.
inline CGSize uprightSize(const PictureFacts& facts)
{
    const CGSize stored{static_cast<CGFloat>(facts.layout.width), static_cast<CGFloat>(facts.layout.height)};
    return swapsSides(facts.orientation) ? CGSize{stored.height, stored.width} : stored;
}

/// Upright, in points: pixels × 72 ÷ the resolution, or one a pixel where the file has none.
inline CGSize uprightPoints(const PictureFacts& facts)
{
    constexpr double pointsPerInch = 72;
    const auto points = [](int pixels, double dpi) {
        return dpi > 0 ? pixels * pointsPerInch / dpi : static_cast<CGFloat>(pixels);
    };
    // The resolution stands beside the stored rows: a picture that lies on its side takes it along.
    const CGSize stored{points(facts.layout.width, facts.dpiX), points(facts.layout.height, facts.dpiY)};
    return swapsSides(facts.orientation) ? CGSize{stored.height, stored.width} : stored;
}

/// Takes rows as they are decoded: `rows` begins at row `first`. False stops the decoding.
using RowSink = std::function<bool(int first, const engine::ConstPixels& rows)>;

/// The pixels of a picture, in memory or decoded when asked for. Safe to use from several threads at once: each
/// `decode` has a state of its own.
class PixelProvider {
public:
    virtual ~PixelProvider() = default;
    [[nodiscard]] virtual const PictureFacts& facts() const = 0;

    /// True where decoding at 1/denominator of the size costs less than decoding all of it.
    [[nodiscard]] virtual bool canReduce(int denominator) const { return denominator == 1; }

    /// True where `decode` itself keeps a second core busy, so that overlapping it once more would not pay.
    [[nodiscard]] virtual bool usesSecondThread() const { return false; }

    struct Request {
        int denominator = 1; ///< 1, or one that `canReduce` allows; sides become ceil(side / denominator)
        int firstRow = 0;    ///< of the reduced picture
        int rowCount = -1;   ///< -1 = to the end
    };
    /// Hands the rows asked for to the sink, in order, each once, in bands of any height; stored orientation, the
    /// layout of `facts()`. The memory of a band belongs to the decoder and holds until the sink returns. What a file
    /// that ended early does not hold is delivered as zeros (a `truncated` warning is noted once). False: the sink said
    /// so, or nothing usable could be decoded (noted).
    [[nodiscard]] virtual bool decode(const Request& request, const RowSink& sink) const = 0;
};

} // namespace zel
