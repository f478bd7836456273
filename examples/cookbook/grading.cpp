#include "recipes.h"

namespace cookbook {

using namespace zel;

// [grading]
Ref<ZelImage> levelAndLighten(const Ref<ZelImage>& photo, double slope)
{
    const Ref<ZelImage> level = rotateAndZoom(photo, {.byDegrees = slope}); // counterclockwise, no empty corners
    return sharpen(exposure(level, 0.5), {.sharpness = 0.4F});              // half a stop more light
}
// [grading]

} // namespace cookbook
