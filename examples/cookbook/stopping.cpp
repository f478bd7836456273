#include "recipes.h"

namespace cookbook {

using namespace zel;

// [stopping]
bool resizeUntilStopped(const URL& photo, const URL& target, std::stop_source& stop, std::function<void(double)> tell)
{
    const ZelProgress progress(std::move(tell), stop.get_token()); // any thread may call stop.request_stop()
    const Ref<ZelImage> image = resize(makeZelImage(photo), {.toWidth = 640});
    return saveToPNG(image, {.url = target}); // false, ZelFailure::last().code == cancelled
}
// [stopping]

} // namespace cookbook
