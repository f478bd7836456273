#pragma once
#include <zel/platform/foundation/byte_source.h>
#include <zel/platform/foundation/properties.h>

namespace zel {

/// What a file says of its first picture. At the top: PixelWidth, PixelHeight (as stored), Orientation, Depth (bits a
/// component), ColorModel ("RGB", "Gray"), HasAlpha (0, 1), DPIWidth, DPIHeight and ProfileName where the file has
/// them. In groups, where it carries an EXIF block: "{TIFF}" (directory 0), "{Exif}", "{GPS}", fields by their EXIF
/// names, in "{GPS}" without "GPS" in front. Values: numbers of one value as integers, or as doubles where they are
/// fractions; several values as a list; text without zeros and blanks at its end; GPS positions as degrees that are
/// never negative, GPS time as "HH:MM:SS". Fractions with a denominator of 0 are absent, and so are maker's notes.
/// Where the picture's header is damaged, the groups alone, with a warning. Absent, with the reason noted, where there
/// are none either, as in bytes that are no picture. Of a JPEG the header alone is read; of other formats
/// no more pixels than the first rows are decoded.
ZEL_API std::optional<PropertyDictionary> readProperties(const Ref<const ByteSource>& source);

/// The groups of an EXIF block (TIFF bytes) alone; empty where it makes no sense.
ZEL_API PropertyDictionary readExifGroups(std::span<const std::uint8_t> block);

} // namespace zel
