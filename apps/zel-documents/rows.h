#pragma once
#include <zel/platform/documents/protocol.h>

#include <cstdint>

// From the forms in which the renderers draw to the rows of the protocol.
namespace zel::documents {

/// `width` straight pixels (0xAARRGGBB), rounded to nearest: premultiplied, or on paper.
void takeStraightRow(const std::uint32_t* from, int width, Paper paper, std::uint8_t* to);

/// `width` premultiplied pixels in the protocol's order, in place: as they are, or on paper.
void layRow(std::uint8_t* row, int width, Paper paper);

} // namespace zel::documents
