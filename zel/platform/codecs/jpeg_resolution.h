#pragma once
#include <zel/platform/codecs/jpeg_errors.h>
#include <zel/platform/foundation/byte_source.h>

#include <optional>
#include <span>

namespace zel {

/// True where a file of this picture may begin with JFIF, which says that its colours are grey or YCbCr.
bool canHoldJfif(const jpeg_decompress_struct& info);

/// The density of JFIF's header, in whole dots.
std::uint16_t jfifDensity(double dpi);

/// What becomes of a block that an EXIF segment holds, "Exif\0\0" in front: it states `dpi` where it has a place for
/// it. True where a reader then finds `dpi`, given whether JFIF's header states it, too. An empty block: there is none.
bool recordInExif(std::span<std::uint8_t> block, double dpi, bool isInJfif);

/// The file's own bytes with another resolution, in JFIF's header, which comes in front where there is none, and in
/// EXIF. `recorded`: whether there was a place for it. Absent with the reason noted.
std::optional<Data> withResolution(const ByteSource& source, double dpi, bool& recorded);

} // namespace zel
