#include "snapping.h"

#include <cmath>

using namespace zel;

namespace {

// A place was found as a line plus or minus half a side; the sum back may differ in its last digits.
constexpr double sameLine = 1e-9;

/// The library tells the place for the centre. Which lines hold it there is asked here: those on the centre and, of a
/// picture, those on an edge.
std::vector<double> linesAt(const std::vector<double>& lines, double centre, double half)
{
    std::vector<double> found;
    for (const double line : lines) {
        const double distance = std::abs(line - centre);
        const bool holds = distance < sameLine || (half > 0 && std::abs(distance - half) < sameLine);
        // Lines come more than once.
        bool isNew = true;
        for (const double one : found)
            isNew = isNew && std::abs(one - line) >= sameLine;
        if (holds && isNew)
            found.push_back(line);
    }
    return found;
}

} // namespace

Snapped snap(const ZelComposer& composer, const ZelComposer::Layer& layer, CGPoint at, CGSize view)
{
    const bool isPicture = layer.layerType == ZelComposer::Layer::LayerType::image;
    const CGSize half = isPicture ? imageActualNormalizedSize(layer, {.in = composer}) / 2 : CGSize{};
    Snapped result{.at = at, .vertical = {}, .horizontal = {}};
    if (const auto x = nearestVerticalGuide(composer, {.for_ = layer, .at = at.x, .in = view})) {
        result.at.x = *x;
        result.vertical = linesAt(verticalGuides(composer, {.for_ = layer}), *x, half.width);
    }
    if (const auto y = nearestHorizontalGuide(composer, {.for_ = layer, .at = at.y, .in = view})) {
        result.at.y = *y;
        result.horizontal = linesAt(horizontalGuides(composer, {.for_ = layer}), *y, half.height);
    }
    return result;
}
