#include "preview.h"

#include "qt_pixels.h"

#include <zel/operations/resize.h>
#include <zel/platform/foundation/failure.h>

#include <algorithm>
#include <cmath>

namespace zel::viewer {

bool reducedServes(const Opened& opened, const PreviewOrder& order)
{
    constexpr double almost = 0.99; // nobody sees the difference
    const CGSize full = editedSize(order.chain, opened.picture->size);
    return opened.scale >= std::min(1.0, order.shown.width / full.width) * almost;
}

Preview previewOf(const Opened& opened, const PreviewOrder& order, From from)
{
    ZelFailure::clear();
    Preview preview;
    preview.chain = order.chain;
    preview.size = editedSize(order.chain, opened.picture->size);
    preview.picture =
        from == From::reduced ? edited(opened.reduced, order.chain, opened.scale) : edited(opened.picture, order.chain);
    Ref<ZelImage> shown = preview.picture;
    const CGSize wanted{std::max(1.0, std::round(order.shown.width)), std::max(1.0, std::round(order.shown.height))};
    if (shown && wanted.width < shown->size.width)
        shown = resize(shown, {.to = wanted});
    preview.pixels = qtPixels(shown);
    if (preview.pixels.isNull())
        preview.message = QString::fromStdString(ZelFailure::last().message);
    return preview;
}

} // namespace zel::viewer
