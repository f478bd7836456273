#include <zel/operations/rotate.h>

#include <zel/platform/foundation/notes.h>

#include <numbers>

namespace zel {

Ref<ZelImage> rotateAndZoom(const Ref<ZelImage>& image, RotateByDegrees angle)
{
    const Ref<const CIImage> expression = image ? image->ciImage() : nullptr;
    if (!expression)
        return failAbsentInput("straighten");
    const Ref<const CIImage> straight = expression->straightened(angle.byDegrees / 180 * std::numbers::pi);
    return straight ? makeZelImage(straight) : nullptr;
}

} // namespace zel
