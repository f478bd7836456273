#include "recipes.h"

namespace cookbook {

using namespace zel;

// [square]
Ref<ZelImage> squareOf(const Ref<ZelImage>& photo, CGPoint middle, double zoom)
{
    const CGRect all = ZelImageHelper::getRect(photo);
    const CGSize side = ZelImageHelper::getCroppingSize({.rect = all, .ratio = 1, .zoom = zoom});
    const CGRect wanted = ZelImageHelper::getRect({.centeredAt = middle, .withSize = side});
    return crop(photo, {.to = ZelImageHelper::boundRect({.boundRect = all, .rect = wanted})});
}
// [square]

} // namespace cookbook
