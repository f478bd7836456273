#include <zel/composition/guides.h>

#include <zel/platform/foundation/console.h>
#include <zel/platform/foundation/identifiers.h>
#include <zel/platform/foundation/number_text.h>

#include <array>
#include <cmath>

namespace zel {
namespace {

using Guide = ZelComposer::Guide;
using Layer = ZelComposer::Layer;
using Orientation = Guide::Orientation;

constexpr std::array snapMargins = {0.0, 0.05};

std::vector<double> around(double centre, double half)
{
    return {centre - half, centre + 0 * half, centre + half};
}

std::string listText(const std::vector<double>& values)
{
    std::string text;
    for (const double value : values)
        text += (text.empty() ? "" : ", ") + shortestDecimal(value);
    return "[" + text + "]";
}

Guide fresh(Orientation orientation, double location, bool intrinsic)
{
    return {.id = ZelId::newId(), .orientation = orientation, .location = location, .intrinsic = intrinsic};
}

std::vector<double> linesOf(const Layer& layer, const ZelComposer& composer, Orientation orientation)
{
    return orientation == Orientation::horizontal ? horizontalGuides(layer, {.in = composer})
                                                  : verticalGuides(layer, {.in = composer});
}

std::vector<double> snapLines(const ZelComposer& composer, const Layer& layer, Orientation orientation)
{
    std::vector<double> lines;
    for (const Layer& other : composer.layerList) {
        if (other.id == layer.id)
            continue;
        const std::vector<double> its = linesOf(other, composer, orientation);
        lines.insert(lines.end(), its.begin(), its.end());
    }
    for (const Guide& guide : guideList(composer, {.including = snapMargins}))
        if (guide.orientation == orientation)
            lines.push_back(guide.location);
    return lines;
}

/// The first of the nearest candidates: every line, then every line for one edge, then for the other.
std::optional<double> nearest(const std::vector<double>& lines, std::optional<double> half, double at, CGSize view)
{
    const double reach = ZelComposer::kGuideSnapDistanceInPixels / view.width;
    std::optional<double> found;
    double least = 0;
    const auto consider = [&](double candidate) {
        const double distance = std::fabs(candidate - at);
        if (distance <= reach && (!found || distance < least)) {
            found = candidate;
            least = distance;
        }
    };
    for (const double line : lines)
        consider(line);
    if (!half)
        return found;
    for (const double line : lines)
        consider(line + *half);
    for (const double line : lines)
        consider(line - *half);
    return found;
}

} // namespace

CGSize imageActualNormalizedSize(const Layer& layer, InComposer composer)
{
    const double ratio = layer.image.ratio;
    const double quotient = composer.in.ratio / ratio;
    const double scale = quotient <= 1.0 ? 1.0 : quotient;
    Console::print("ratioScale = " + shortestDecimal(scale));
    const CGSize size{scale * layer.transform.scale.x, (scale * layer.transform.scale.y) / ratio};
    Console::print("scale = (" + shortestDecimal(size.width) + ", " + shortestDecimal(size.height) + ")");
    return size;
}

std::vector<double> imageHGuides(const Layer& layer, InComposer composer)
{
    std::vector<double> lines =
        around(layer.transform.location.y, imageActualNormalizedSize(layer, composer).height * 0.5);
    Console::print("guides = " + listText(lines));
    return lines;
}

std::vector<double> imageVGuides(const Layer& layer, InComposer composer)
{
    return around(layer.transform.location.x, imageActualNormalizedSize(layer, composer).width * 0.5);
}

std::vector<double> horizontalGuides(const Layer& layer, InComposer composer)
{
    if (layer.layerType == Layer::LayerType::image)
        return imageHGuides(layer, composer);
    return {layer.transform.location.y};
}

std::vector<double> verticalGuides(const Layer& layer, InComposer composer)
{
    if (layer.layerType == Layer::LayerType::image)
        return imageVGuides(layer, composer);
    return {layer.transform.location.x};
}

std::vector<Guide> guideList(const ZelComposer& composer, IncludingMargins margins)
{
    std::vector<Guide> guides = composer.guideList_;
    guides.push_back(fresh(Orientation::horizontal, 0, true));
    guides.push_back(fresh(Orientation::vertical, 0, true));
    for (const double margin : margins.including) {
        guides.push_back(fresh(Orientation::vertical, 0.5 - margin, true));
        guides.push_back(fresh(Orientation::vertical, margin - 0.5, true));
        guides.push_back(fresh(Orientation::horizontal, (0.5 - margin) / composer.ratio, true));
        guides.push_back(fresh(Orientation::horizontal, (margin - 0.5) / composer.ratio, true));
    }
    for (const Layer& layer : composer.layerList)
        for (const Orientation orientation : {Orientation::horizontal, Orientation::vertical})
            for (const double line : linesOf(layer, composer, orientation))
                guides.push_back(fresh(orientation, line, false));
    return guides;
}

std::vector<double> verticalGuides(const ZelComposer& composer, ForLayer layer)
{
    return snapLines(composer, layer.for_, Orientation::vertical);
}

std::vector<double> horizontalGuides(const ZelComposer& composer, ForLayer layer)
{
    return snapLines(composer, layer.for_, Orientation::horizontal);
}

std::optional<double> nearestVerticalGuide(const ZelComposer& composer, SnapQuery query)
{
    const std::vector<double> lines = verticalGuides(composer, {.for_ = query.for_});
    std::optional<double> half;
    if (query.for_.layerType == Layer::LayerType::image)
        half = imageActualNormalizedSize(query.for_, {.in = composer}).width * 0.5;
    return nearest(lines, half, query.at, query.in);
}

std::optional<double> nearestHorizontalGuide(const ZelComposer& composer, SnapQuery query)
{
    const std::vector<double> lines = horizontalGuides(composer, {.for_ = query.for_});
    std::optional<double> half;
    if (query.for_.layerType == Layer::LayerType::image)
        half = imageActualNormalizedSize(query.for_, {.in = composer}).height * 0.5;
    return nearest(lines, half, query.at, query.in);
}

CGPoint actualPosition(const ZelComposer&, PositionOf layer)
{
    const CGPoint location = layer.of.transform.location;
    return {location.x * layer.in.width, location.y * layer.in.width};
}

CGPoint livePosition(const ZelComposer& composer, LivePositionOf layer)
{
    const CGPoint position = actualPosition(composer, {.of = layer.of, .in = layer.inSize});
    return {position.x + layer.with.width, position.y + layer.with.height};
}

} // namespace zel
