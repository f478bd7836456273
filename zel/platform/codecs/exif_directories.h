#pragma once
#include <zel/platform/foundation/byte_source.h>

namespace zel {

/// The first directory of a TIFF file (not BigTIFF) and the EXIF and GPS directories that hang on it, as a block that
/// stands alone: byte-order mark, directories, values. Strips, tiles, profiles, maker's notes and values of over 4 KiB
/// are left out, so that the block stays below 64 KiB. Empty where the file holds no directory there.
std::vector<std::uint8_t> gatherDirectories(const ByteSource& source);

} // namespace zel
