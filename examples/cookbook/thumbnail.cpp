#include "recipes.h"

namespace cookbook {

using namespace zel;

// [thumbnail]
bool makeThumbnail(const URL& photo, const URL& thumbnail)
{
    const Ref<ZelImage> small = resize(makeZelImage(photo), {.withMaxSide = 256});
    return saveToJpeg(small, {.quality = 0.8, .url = thumbnail});
}
// [thumbnail]

} // namespace cookbook
