#pragma once
#include <zel/platform/graphics/pixel_provider.h>

#include <span>

namespace zel {

/// What an EXIF block says that pixels depend on.
struct ExifFacts {
    Orientation orientation = Orientation::up; ///< `up` where none or a wrong one is stated
    double dpiX = 0, dpiY = 0;                 ///< 0 where none is stated; centimetres are brought to inches
};

/// Reads IFD 0 of an EXIF block: TIFF bytes, with or without "Exif\0\0" in front. Damage gives what could be read.
ExifFacts readExifFacts(std::span<const std::uint8_t> block);

/// The resolution, or 0 where it is below 10, above 100,000 or no number: such figures are mistakes or traps.
double plausibleDpi(double dpi);

} // namespace zel
