#include <zel/operations/crop.h>

#include <zel/operations/tile_plan.h>
#include <zel/platform/foundation/limits.h>
#include <zel/platform/foundation/notes.h>
#include <zel/platform/graphics/image_part.h>
#include <zel/platform/graphics/image_rows.h>

#include <algorithm>
#include <fmt/format.h>

namespace zel {
namespace {

constexpr std::uint64_t bytesPerTile = 1024; // its objects, about; its pixels cost nothing

/// Where tiles begin along one side; absent where there would be more than `most`.
std::optional<std::vector<CGFloat>> origins(CGFloat side, CGFloat tile, std::int64_t border, std::uint64_t most)
{
    std::vector<CGFloat> found;
    if ((side - tile) / (tile - 2 * cgFloat(border)) > static_cast<CGFloat>(most))
        return std::nullopt; // without counting up to it
    for (CGFloat origin = 0;;) {
        if (found.size() == most)
            return std::nullopt;
        found.push_back(origin);
        if (!(origin + tile < side))
            return found;
        // Whole numbers far below 2^53: the product is exact in floating point, and cannot overflow.
        const auto index = cgFloat(static_cast<std::int64_t>(found.size()));
        origin = index * tile - 2 * (index * cgFloat(border));
        if (origin >= side) // the rest of the side lies in the gap that a border below 0 leaves
            return found;
    }
}

/// The side of one of `count` equal tiles; absent, noted, for a count that is none.
std::optional<CGFloat> sideFor(CGFloat whole, std::optional<std::int64_t> count)
{
    if (!count)
        return whole;
    if (*count < 1)
        return fail(ZelFailureCode::invalidArgument, "split", fmt::format("{} is no count of tiles", *count));
    return divided(whole, {.by = *count});
}

/// The side of tiles that are as equal as can be and at most `bound` long, or of a pixel; absent, noted, for a bound
/// that is not above 0.
std::optional<CGFloat> sideWithin(CGFloat whole, std::optional<CGFloat> bound, bool isMost)
{
    if (!bound || !isMost)
        return bound.value_or(whole);
    if (!(*bound > 0))
        return fail(ZelFailureCode::invalidArgument, "split", fmt::format("no tile is within {} pixels", *bound));
    const CGFloat count = whole / *bound;
    return divided(whole, {.by = std::max<std::int64_t>(1, toInt(isInt(count) ? count : count + 1))});
}

} // namespace

std::optional<TilePlan> planTiles(CGSize picture, SplitTo tile)
{
    const CGFloat shorter = std::min(tile.to.width, tile.to.height);
    if (!(tile.to.width >= 1 && tile.to.height >= 1))
        return fail(ZelFailureCode::invalidArgument, "split",
                    fmt::format("tiles of {} x {} pixels", tile.to.width, tile.to.height));
    if (!(2 * cgFloat(tile.tileBorder) < shorter))
        return fail(ZelFailureCode::invalidArgument, "split",
                    fmt::format("a border of {} leaves nothing of a side of {}", tile.tileBorder, shorter));
    const std::uint64_t most = std::min<std::uint64_t>(ZelLimits::current().operationBytes / bytesPerTile, 1U << 26U);
    auto lefts = origins(picture.width, tile.to.width, tile.tileBorder, most);
    auto tops = origins(picture.height, tile.to.height, tile.tileBorder, most);
    if (!lefts || !tops || lefts->size() > most / tops->size())
        return fail(ZelFailureCode::limit, "split",
                    fmt::format("tiles of {} x {} from {} x {} pixels are more than {}", tile.to.width, tile.to.height,
                                picture.width, picture.height, most));
    return TilePlan{tile.to, std::move(*lefts), std::move(*tops)};
}

ZelTiles split(const Ref<ZelImage>& image, SplitTo tile)
{
    if (!image)
        return failAbsentInput("split");
    const std::optional<TilePlan> plan = planTiles(image->size, tile);
    if (!plan)
        return {};
    ZelTiles rows(plan->tops.size());
    if (!image->cgImage) {
        (void)failAbsentInput("split");
        return rows;
    }
    // Once for all: each tile on its own would decode everything above it again.
    if (plan->tops.size() > 1 || plan->lefts.size() > 1)
        (void)pixelsOf(*image->cgImage);
    for (std::size_t row = 0; row < rows.size(); ++row) {
        rows[row].reserve(plan->lefts.size());
        for (const CGFloat left : plan->lefts)
            if (const auto part = imageInRect(image->cgImage, {{left, plan->tops[row]}, plan->tile}))
                rows[row].push_back(makeZelImage(part));
    }
    return rows;
}

ZelTiles split(const Ref<ZelImage>& image, SplitToWidth tile)
{
    if (!image)
        return failAbsentInput("split");
    const CGSize to{tile.toWidth.value_or(image->size.width), tile.height.value_or(image->size.height)};
    return split(image, SplitTo{.to = to, .tileBorder = tile.tileBorder});
}

ZelTiles split(const Ref<ZelImage>& image, SplitRows counts)
{
    if (!image)
        return failAbsentInput("split");
    const auto width = sideFor(image->size.width, counts.rows), height = sideFor(image->size.height, counts.columns);
    return width && height ? split(image, SplitTo{.to = {*width, *height}}) : ZelTiles();
}

ZelTiles boundedSplit(const Ref<ZelImage>& image, BoundedSplit bounds)
{
    if (!image)
        return failAbsentInput("split");
    const auto width = sideWithin(image->size.width, bounds.toWidth, bounds.max),
               height = sideWithin(image->size.height, bounds.height, bounds.maxHeight);
    return width && height ? split(image, SplitTo{.to = {*width, *height}}) : ZelTiles();
}

} // namespace zel
