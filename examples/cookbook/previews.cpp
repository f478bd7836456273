#include "recipes.h"

namespace cookbook {

using namespace zel;

// [previews]
Ref<ZelImage> previewOf(const URL& photo)
{
    static ZelImageStoredCache cache(
        {.name = "previews", .removeItemsAfterDays = 30, .mode = ZelImageStoredCache::Mode::heif});
    const auto make = [&] { return resize(makeZelImage(photo), {.withMaxSide = 320}); };
    return cache.retrieveOrCalc({.imageWithId = ZelId::md5(photo.absoluteString()), .calc = make});
}
// [previews]

} // namespace cookbook
