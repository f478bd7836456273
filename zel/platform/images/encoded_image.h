#pragma once
#include <zel/platform/foundation/byte_source.h>
#include <zel/platform/images/ns_image.h>

namespace zel {

/// The picture in a source, decoded when its pixels are needed. Null with the reason noted.
Ref<NSImage> makeEncodedImage(const Ref<const ByteSource>& source);
/// True where the picture cannot be decoded any more, since the file that it came from was changed or removed.
ZEL_API bool isLost(const NSImage& image);

} // namespace zel
