#include <zel/platform/codecs/heif_geometry.h>

#include <zel/platform/foundation/guards.h>
#include <zel/platform/foundation/notes.h>

#include <cmath>

namespace zel::heif {
namespace {

/// A numerator, which may be signed, and a denominator. Not a number where the latter is 0.
double fraction(Fields& fields, bool isSigned)
{
    const std::uint32_t above = fields.u32(), below = fields.u32();
    const double numerator = isSigned ? static_cast<double>(static_cast<std::int32_t>(above)) : above;
    return below == 0 ? std::nan("") : numerator / below;
}

} // namespace

void Geometry::clip(Fields fields)
{
    const bool swapped = a_ == 0;
    const int width = swapped ? crop_.height : crop_.width, height = swapped ? crop_.width : crop_.height;
    const double clippedWidth = fraction(fields, false), clippedHeight = fraction(fields, false);
    const double right = fraction(fields, true), down = fraction(fields, true); // of the centre
    const double left = right + (width - clippedWidth) / 2, top = down + (height - clippedHeight) / 2;
    // Comparisons are false where something is not a number.
    const bool isInside = clippedWidth >= 1 && clippedHeight >= 1 && left > -1 && top > -1 &&
                          left + clippedWidth < width + 1 && top + clippedHeight < height + 1;
    if (!fields.good() || !isInside) {
        warn(ZelFailureCode::unreadable, "decode", "HEIF: what should be cut off makes no sense, nothing is");
        return;
    }
    const int x = truncated(std::round(left), 0, width - 1), y = truncated(std::round(top), 0, height - 1);
    const int w = truncated(std::round(clippedWidth), 1, width - x),
              h = truncated(std::round(clippedHeight), 1, height - y);
    // Twice the centre's way, so that it stays whole; turned back by the transposed matrix.
    const int acrossTwice = 2 * x + w - width, alongTwice = 2 * y + h - height;
    const int storedAcross = a_ * acrossTwice + c_ * alongTwice, storedAlong = b_ * acrossTwice + d_ * alongTwice;
    const int storedWidth = swapped ? h : w, storedHeight = swapped ? w : h;
    crop_.left += (storedAcross + crop_.width - storedWidth) / 2;
    crop_.top += (storedAlong + crop_.height - storedHeight) / 2;
    crop_.width = storedWidth;
    crop_.height = storedHeight;
}

void Geometry::apply(const Box& property)
{
    Fields fields(property.payload);
    if (property.type == fourCharacters("clap"))
        clip(fields);
    else if (property.type == fourCharacters("irot")) {
        for (int turns = fields.u8() & 3; turns > 0; --turns) { // anticlockwise: x' = y, y' = -x
            const int a = a_, b = b_;
            a_ = c_;
            b_ = d_;
            c_ = -a;
            d_ = -b;
        }
    } else if (property.type == fourCharacters("imir")) {
        if ((fields.u8() & 1) == 0) { // top and bottom change places
            c_ = -c_;
            d_ = -d_;
        } else {
            a_ = -a_;
            b_ = -b_;
        }
    }
}

Orientation Geometry::orientation() const
{
    if (a_ != 0) {
        if (a_ > 0)
            return d_ > 0 ? Orientation::up : Orientation::downMirrored;
        return d_ > 0 ? Orientation::mirrored : Orientation::down;
    }
    if (b_ > 0)
        return c_ > 0 ? Orientation::transposed : Orientation::left;
    return c_ > 0 ? Orientation::right : Orientation::transverse;
}

} // namespace zel::heif
