#pragma once
#include <zel/export.h>
#include <zel/operations/crop.h>

#include <functional>

// How `split` lays its tiles, and the same tiles handed out while a picture is decoded.
namespace zel {

/// Where the tiles of a split lie, in units of the image's `size`, from the top left.
struct TilePlan {
    CGSize tile;
    std::vector<CGFloat> lefts, tops; ///< of the columns and of the rows, at least one each
};

/// Absent, noted: a side below 1, a border of half a side or more, too many tiles.
ZEL_API std::optional<TilePlan> planTiles(CGSize picture, SplitTo tile);

struct TilePlace {
    std::size_t row, column;
};
/// Takes a tile; false stops. May be called on several threads at once.
using TileSink = std::function<bool(TilePlace place, const Ref<ZelImage>& tile)>;

/// Hands the tiles of `split` to the sink, rows from the top, on `together` threads. A picture whose rows come upright
/// from its decoder is cut while it is decoded: a few rows of tiles are in memory, never all of it. The tiles may be
/// kept. False where the sink said so or the picture does not decode (noted).
ZEL_API bool handOutTiles(const Ref<ZelImage>& image, const TilePlan& plan, int together, const TileSink& sink);

} // namespace zel
