#include "recipes.h"

namespace cookbook {

using namespace zel;

// [byte_limit]
bool saveWithin(const URL& photo, const URL& target, std::int64_t bytes)
{
    const Ref<ZelImage> image = resize(makeZelImage(photo), {.toWidth = 1200});
    return saveToJpeg(image, {.toUrl = target, .dpi = 72, .maxSize = bytes});
}
// [byte_limit]

} // namespace cookbook
