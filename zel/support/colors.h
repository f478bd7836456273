#pragma once
#include <zel/core/bitmap.h>
#include <zel/export.h>

#include <span>

// Colours of pictures: averages, single pixels, grids, distances, and the masks that set a picture's transparency.
// Colours are the stored bytes, 8 bits in sRGB, divided by 255: those of half-transparent pixels are premultiplied.
// Averages and grids are exact means over the area that each colour stands for, of every pixel, in one pass over the
// picture.
namespace zel {

namespace ZelImageHelper {

/// JSON: {"list":[{"red":…,"green":…,"blue":…,"alpha":…},…]}.
struct ZelColorList {
    std::vector<ZelColor> list;
    friend bool operator==(const ZelColorList&, const ZelColorList&) = default;
};
struct PixelOfImage {
    Ref<ZelImage> ofImage;
    std::int64_t x, y; ///< y from the top row
};
struct ColorListOfImage {
    Ref<ZelImage> ofImage;
    CGSize reduceToSize; ///< columns and rows, truncated
};

/// Clear black (alpha 0) where the picture has no pixels. Cost: one decoding that keeps no pixels.
ZEL_API NSColor getAverageColorOfImage(const Ref<ZelImage>& image);
/// Of the picture drawn at its `size`. Clear black outside it and where there are no pixels. Decodes the picture once
/// and keeps its pixels.
ZEL_API NSColor getColor(PixelOfImage pixel);
/// The colour grid with alpha: row after row from the top, left to right. Empty, with the reason noted, where a side
/// truncates to less than 1 or the picture has no pixels.
ZEL_API std::vector<NSColor> getColorList(ColorListOfImage what);
/// The JSON text of a ZelColorList. Empty, with the reason noted, for a colour that has no JSON form because a
/// component is not finite.
ZEL_API std::string encodeColorList(std::span<const NSColor> colors);
/// Absent, with the reason noted, for a text that is no colour list.
ZEL_API std::optional<std::vector<NSColor>> decodeColorList(std::string_view text);
/// (red + green + blue) ÷ 3.
ZEL_API float getColorAverage(const NSColor& color);
/// Euclidean, of red, green and blue; √3 from black to white. Alpha does not count.
ZEL_API float getTwoColorsDistance(const NSColor& a, const NSColor& b);
/// The mean distance of the colours at the same places, as far as the shorter list goes; not a number where one is
/// empty.
ZEL_API float getTwoColorListDistance(std::span<const NSColor> a, std::span<const NSColor> b);

} // namespace ZelImageHelper

struct DistanceTo {
    const ZelColor& to;
};
struct ListDistanceTo {
    std::span<const ZelColor> to;
};
struct ReduceToSize {
    CGSize reduceToSize; ///< columns and rows, truncated
};
struct GridSide {
    std::int64_t side; ///< columns, and rows
};
struct DeltaColor {
    Ref<ZelImage> to;
    std::int64_t colroGridSide;
};
struct MaskBitmap {
    Ref<const CGImage> mask;
};
struct MaskImage {
    Ref<ZelImage> mask;
};

/// Euclidean, of red, green and blue; √3 from black to white. Alpha does not count.
ZEL_API float distance(const ZelColor& color, DistanceTo other);
/// The mean distance of the colours at the same places, as far as the shorter list goes; not a number where one is
/// empty.
ZEL_API float distance(std::span<const ZelColor> list, ListDistanceTo other);
/// That distance ÷ 1.732: 0 for equal lists, about 1.00003 from black to white.
ZEL_API double differencePerc(std::span<const ZelColor> list, ListDistanceTo other);

/// The colour grid, opaque whatever the picture's alpha: row after row from the top, left to right. Empty, with the
/// reason noted, where a side truncates to less than 1 or the picture has no pixels.
ZEL_API std::vector<ZelColor> colorList(const Ref<ZelImage>& image, ReduceToSize size);
ZEL_API std::vector<ZelColor> colorList(const Ref<ZelImage>& image, GridSide side);
/// How far apart the two pictures' colour grids are, as `differencePerc` says it; pictures of different sizes can be
/// compared. Not a number where one has no grid.
ZEL_API double deltaColor(const Ref<ZelImage>& image, DeltaColor other);

/// The picture at its `size` with the brightness of the mask, (red + green + blue) ÷ 3, as its alpha. The mask is
/// scaled to that size. Colour bytes stay as they are, premultiplied by the alpha that was there before. `image`
/// itself, with the reason noted, where it or the mask has no pixels.
ZEL_API Ref<ZelImage> apply(const Ref<ZelImage>& image, MaskBitmap mask);
/// The same with the mask's alpha.
ZEL_API Ref<ZelImage> apply(const Ref<ZelImage>& image, MaskImage mask);

template <>
ZEL_API std::string encode(const ZelImageHelper::ZelColorList& value);
template <>
ZEL_API ZelImageHelper::ZelColorList decode(std::string_view text);

} // namespace zel
