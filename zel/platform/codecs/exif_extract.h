#pragma once
#include <zel/platform/foundation/byte_source.h>

namespace zel {

/// The EXIF block of a file's first picture, cut out of its container: TIFF bytes without "Exif\0\0" in front. JPEG:
/// segment APP1 before the first scan; PNG: chunk eXIf, also behind the pixels; WebP: chunk EXIF; JPEG XL and JPEG
/// 2000: the box for it; HEIF and AVIF: the item that describes the primary picture; TIFF: its first directory with the
/// two that hang on it, put together without what only decoders need. Empty where there is none, or where damage hides
/// it. No pixels are looked at.
ZEL_API std::vector<std::uint8_t> exifBlockOf(const ByteSource& source);

} // namespace zel
