#pragma once
#include <zel/engine/cube.h>
#include <zel/platform/filters/ci_image.h>

namespace zel {

/// The cube that a picture holds: n wide and n × n high, n from 2 to 129, its slices below one another: red grows along
/// a row, green down a slice, blue from slice to slice. Samples count as they are stored, whatever the picture's
/// profile, and without their alpha. Null, with the reason noted, for another shape and for pixels that do not decode.
Ref<const engine::ColorCube> makeColorCube(const Ref<const CGImage>& slices);

/// The picture's colours sent through the cube, trilinearly. Null where either is.
Ref<const CIImage> cubed(const Ref<const CIImage>& image, const Ref<const engine::ColorCube>& cube);

} // namespace zel
