#pragma once
#include <zel/engine/pixels.h>

namespace zel::engine {

/// The eight ways in which a stored picture can lie, by the numbers of the EXIF tag Orientation: what has to be done to
/// the stored picture so that it stands upright.
enum class Orientation : std::uint8_t {
    upright = 1,
    mirrored = 2, ///< left and right change places
    halfTurn = 3,
    flipped = 4,          ///< top and bottom change places
    transposed = 5,       ///< rows become columns
    clockwise = 6,        ///< a quarter turn clockwise
    transversed = 7,      ///< transposed, then turned by half
    counterclockwise = 8, ///< a quarter turn counterclockwise
};

/// Whether the upright picture has the stored one's height as its width.
[[nodiscard]] constexpr bool swapsSides(Orientation orientation)
{
    return orientation >= Orientation::transposed;
}

/// What does in one move what `first` and after it `second` do.
[[nodiscard]] Orientation composed(Orientation first, Orientation second);

/// Writes `from` upright into `to`: pixels of 4 or 8 bytes, no overlap. False, and nothing written: no such
/// orientation, or `to` has not the upright size or not the same bytes a pixel.
[[nodiscard]] bool orient(const ConstPixels& from, Orientation orientation, const Pixels& to);

} // namespace zel::engine
