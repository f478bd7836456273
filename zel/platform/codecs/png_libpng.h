#pragma once
#include <zel/platform/codecs/png_rows.h>

namespace zel::png {

/// Decodes through libpng: any picture that the standard knows. An interlaced one is held whole meanwhile.
bool decodeWithLibpng(const ByteSource& source, const Header& header, const RowDelivery& delivery);

/// True when the first row of the stream decodes (of an interlaced picture: of its first pass); else the reason is
/// noted.
bool firstRowDecodesWithLibpng(const ByteSource& source, const Header& header);

} // namespace zel::png
