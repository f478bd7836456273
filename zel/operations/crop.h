#pragma once
#include <zel/export.h>
#include <zel/operations/resize.h>

#include <cstdint>
#include <optional>
#include <vector>

// Pictures cut apart and put together. What is cut on the pixel grid keeps samples, depth, layout and profile, and
// shares its source's pixels; a part of a picture that was not decoded yet decodes only the rows it needs. A rectangle
// with fractions is widened to whole pixels and clipped to the picture.
namespace zel {

/// Where `join` puts the second picture: to the right of the first, or below it.
enum class ZelImage::JoinOrientation { horizontal, vertical };

using ZelTiles = std::vector<std::vector<Ref<ZelImage>>>; ///< rows from the top, tiles from the left

struct CropToTargetRect {
    CGRect toTargetRect; ///< pixels, origin at the top left
};
struct CropTo {
    CGRect to;
};
struct CropRect {
    CGRect rect;
};
struct SplitTo {
    CGSize to;                   ///< of a tile, in pixels
    std::int64_t tileBorder = 0; ///< neighbours share twice as much
};
struct SplitToWidth {
    std::optional<CGFloat> toWidth = {}; ///< absent = the picture's
    std::optional<CGFloat> height = {};
    std::int64_t tileBorder = 0;
};
struct SplitRows {
    std::optional<std::int64_t> rows = {};    ///< tiles beside one another
    std::optional<std::int64_t> columns = {}; ///< tiles above one another
};
struct BoundedSplit {
    std::optional<CGFloat> toWidth = {}; ///< of a tile; with `max` no tile is wider, and all are as wide as each other
    bool max = false;
    std::optional<CGFloat> height = {};
    bool maxHeight = false;
};
struct JoinWith {
    Ref<ZelImage> with;
    ZelImage::JoinOrientation orientation;
    ZelImage::ScaleMode scaleMode;
};

/// Null without pixels, or where the rectangle lies outside the picture.
ZEL_API Ref<ZelImage> crop(const Ref<ZelImage>& image, CropToTargetRect rect);
ZEL_API Ref<ZelImage> crop(const Ref<ZelImage>& image, CropTo rect);
ZEL_API Ref<const CGImage> cropToCGImnage(const Ref<ZelImage>& image, CropRect rect);

// Tiles at the right and bottom edges may be smaller. Rows without tiles where the image has no pixels; an empty list,
// noted, for a side below 1, a border of half a side or more, or more tiles than `ZelLimits::operationBytes` holds. The
// source is decoded once for all tiles.
ZEL_API ZelTiles split(const Ref<ZelImage>& image, SplitTo tile);
ZEL_API ZelTiles split(const Ref<ZelImage>& image, SplitToWidth tile);
/// {.rows = 3, .columns = 2} gives two rows of three tiles. An empty list, noted, for a count below 1.
ZEL_API ZelTiles split(const Ref<ZelImage>& image, SplitRows counts);
/// 1000 pixels within 300 are four tiles of 250.
ZEL_API ZelTiles boundedSplit(const Ref<ZelImage>& image, BoundedSplit bounds);

/// Both pictures, the second to the right of the first or below it, on a canvas that is as high (as wide) as the first.
/// `min` reduces the one with the longer matching side, `max` enlarges the other, ratio kept. Absent only where one of
/// the two is.
ZEL_API Ref<ZelImage> join(const Ref<ZelImage>& first, JoinWith second);

/// Toward zero; what 64 bits cannot hold becomes the nearest limit, not a number becomes 0.
ZEL_API std::int64_t toInt(CGFloat value);
ZEL_API CGFloat cgFloat(std::int64_t value);
struct DividedBy {
    std::int64_t by;
};
/// The truncated value divided, plus 1 where there is a remainder. Not a number, noted, for a divisor of 0.
ZEL_API CGFloat divided(CGFloat value, DividedBy divisor);
ZEL_API bool isInt(CGFloat value); ///< a finite number without a fraction

namespace ZelImageHelper {
struct CropToPoint {
    CGPoint to; ///< the middle of the area
    CGSize size;
};
/// Drawn: 8 bits, sRGB, as many pixels as the rectangle has (rounded up), transparent where it reaches beyond the
/// picture. The rectangle is in pixels from the picture's lower-left corner. Null, noted, where it holds no pixels.
ZEL_API Ref<ZelImage> crop(const Ref<ZelImage>& image, CropTo rect);
/// The area moved into the picture; one that is larger than the picture ends flush with its right and upper edges.
ZEL_API Ref<ZelImage> cropToPoint(const Ref<ZelImage>& image, CropToPoint what);
} // namespace ZelImageHelper

} // namespace zel
