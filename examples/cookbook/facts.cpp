#include "recipes.h"

#include <chrono>

namespace cookbook {

using namespace zel;

// [facts]
std::string tell(const URL& photo)
{
    std::string text = ZelImageHelper::getReadableImageSize({.of = photo}) + " pixels, " +
                       ZelImageHelper::getReadableRatio({.of = photo});
    if (const auto taken = ZelExif::basicData({.of = photo}).shotDate) {
        const std::chrono::year_month_day day(std::chrono::floor<std::chrono::days>(*taken));
        text += ", taken in " + std::to_string(static_cast<int>(day.year()));
    }
    const NSColor mean = ZelImageHelper::getAverageColorOfImage(makeZelImage(photo));
    return text + (mean.blueComponent > mean.redComponent ? ", rather blue" : ", rather red");
}
// [facts]

} // namespace cookbook
