#include <zel/platform/images/ns_image.h>

#include <mutex>
#include <utility>

namespace zel::Screens {
namespace {

struct Attached {
    std::mutex mutex;
    std::vector<CGFloat> factors;
};

Attached& attached()
{
    static Attached& screens = *new Attached; // never released: views may ask while the process ends
    return screens;
}

} // namespace

void set(std::vector<CGFloat> backingScaleFactors)
{
    const std::scoped_lock lock(attached().mutex);
    attached().factors = std::move(backingScaleFactors);
}

CGFloat displayScale()
{
    const std::scoped_lock lock(attached().mutex);
    CGFloat scale = 1.0;
    for (const CGFloat factor : attached().factors)
        if (scale <= factor)
            scale = factor;
    return scale;
}

} // namespace zel::Screens
