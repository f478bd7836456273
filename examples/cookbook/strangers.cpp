#include "recipes.h"

namespace cookbook {

using namespace zel;

// [strangers]
Ref<ZelImage> openForeign(const URL& file, std::vector<std::string>& remarks)
{
    const ZelLimits::Scope limits(ZelLimits::untrusted()); // for this thread and the work it hands out
    const ZelReport report;
    const Ref<ZelImage> image = resize(makeZelImage(file), {.withMaxSide = 800});
    for (const ZelNote& note : report.notes())
        remarks.push_back(note.operation + ": " + note.message);
    return image; // null where the first of the remarks says why
}
// [strangers]

} // namespace cookbook
