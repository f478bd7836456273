#pragma once
#include <cstdint>
#include <optional>
#include <span>

namespace zel {

/// Changes to what an EXIF block states, made where the entries stand: nothing moves, nothing is added.
struct ExifEdit {
    bool makeUpright = false;                ///< the orientation becomes 1
    bool swapResolution = false;             ///< the sides of the picture changed places
    std::optional<double> dpi = {};          ///< of both sides; the unit becomes inch
    std::optional<std::uint32_t> width = {}; ///< of the picture, as stored; with the height
    std::optional<std::uint32_t> height = {};
    bool clearThumbnail = false; ///< it shows the picture as it was: gone, its bytes are zeros
};

/// `block`: TIFF bytes with "Exif\0\0" in front. Entries that are not there, or do not read, stay so. True where the
/// block now says what `edit.dpi` asked for, or nothing was asked.
bool editExif(std::span<std::uint8_t> block, const ExifEdit& edit);

} // namespace zel
