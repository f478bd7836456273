#pragma once
#include <zel/platform/graphics/cg_image.h>

namespace zel {

/// Whether the bytes look like the text form of a colour cube: lines of words, one of them LUT_3D_SIZE or LUT_1D_SIZE.
bool isCubeText(std::span<const std::uint8_t> bytes);

/// The text as a picture of 16 bits, as `ZelLut` takes it. The text has lines of three numbers, red fastest, their
/// count LUT_3D_SIZE to the third, from 2 to 129; lines that begin with # or a word that is not known are passed over;
/// values are held to 0…1. Null, with the reason noted: numbers missing, too many or malformed, a size out of range, a
/// table of one dimension, a domain other than 0 to 1.
Ref<const CGImage> readCubeText(std::string_view text);

} // namespace zel
