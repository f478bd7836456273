#pragma once
#include <zel/core/image.h>
#include <zel/export.h>
#include <zel/platform/foundation/coding.h>

namespace zel {

/// A colour to key out, and the largest distance from it, on the scale of 0 to 255 a channel, that still goes. JSON:
/// {"color":{…},"tolerance":0.05}, both required.
struct ZelImage::KeyColor {
    ZelColor color{0, 0, 0, 1};
    double tolerance = 0.05; ///< 442 and more, and not a number, key out everything, below 0 nothing
};

struct KeyWith {
    ZelImage::KeyColor with;
};
struct FillWith {
    ZelColor with;
};
struct SetColor {
    std::int64_t x, y; ///< from the top-left corner
    NSColor color;
};

// `key` and `fill` draw the image at its `size`, cut off to whole pixels, and change the stored bytes: premultiplied,
// alpha first. What the bytes of a colour above its alpha look like is up to whoever draws them.

/// Alpha 0 where red, green and blue lie at most `tolerance` from the key's bytes, by the root of their squared
/// differences; the colour bytes stay, and there is nothing between kept and gone. Absent without pixels and for a
/// picture of less than a pixel.
ZEL_API Ref<ZelImage> key(const Ref<ZelImage>& image, KeyWith color);
/// Every pixel in one colour, its alpha as it was. `image` itself where that cannot be had (noted).
ZEL_API Ref<ZelImage> fill(const Ref<ZelImage>& image, FillWith color);
/// Writes to the image's `bitmapRep()` alone; nothing outside of it. Callers that share an image take turns.
ZEL_API void setColor(const Ref<ZelImage>& image, SetColor pixel);
/// What `fillHoles` makes of the image's `cgImage`: see operations/subjects.h.
ZEL_API Ref<ZelImage> fillHoles(const Ref<ZelImage>& image, FillWith color);

template <>
ZEL_API std::string encode(const ZelImage::KeyColor& value);
template <>
ZEL_API ZelImage::KeyColor decode(std::string_view text);

} // namespace zel
