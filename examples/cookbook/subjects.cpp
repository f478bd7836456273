#include "recipes.h"

namespace cookbook {

using namespace zel;

// [subjects]
std::vector<Ref<ZelImage>> cutOut(const Ref<ZelImage>& onWhite)
{
    const Ref<ZelImage> onNothing = key(onWhite, {.with = {.color = {1, 1, 1, 1}, .tolerance = 60}});
    return zelFindSeparateSubjects(onNothing, {.padding = 4, .minPixelCount = 100})
        .value_or(std::vector<Ref<ZelImage>>());
}
// [subjects]

} // namespace cookbook
