#include "recipes.h"

namespace cookbook {

using namespace zel;

// [logo_in_corner]
bool putLogoInCorner(const URL& photo, const URL& logo, const URL& target)
{
    const ZelWatermark corner{.position = ZelWatermark::Position::bottomRight,
                              .scale = {.policy = ZelWatermark::Scale::Policy::largestSideScale, .scale = 0.2},
                              .opacity = 0.7};
    const Ref<ZelImage> marked = watermark(makeZelImage(photo), {.with = makeZelImage(logo), .using_ = corner});
    return saveToPNG(marked, {.url = target});
}
// [logo_in_corner]

} // namespace cookbook
