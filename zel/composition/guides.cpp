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

/// The lines of one layer in one direction, without the trip to the heap that a list costs.
struct Lines {
    std::array<double, 3> values{};
    std::size_t count = 1;
    [[nodiscard]] const double* begin() const { return values.data(); }
    [[nodiscard]] const double* end() const { return values.data() + count; }
};

std::string listText(const Lines& lines)
{
    std::string text;
    for (const double value : lines)
        text += (text.empty() ? "" : ", ") + shortestDecimal(value);
    return "[" + text + "]";
}

// Whether the console is heard is asked once an operation: a search looks at thousands of lines.

CGSize sizeOf(const Layer& layer, const ZelComposer& composer, bool isHeard)
{
    const double ratio = layer.image.ratio;
    const double quotient = composer.ratio / ratio;
    const double scale = quotient <= 1.0 ? 1.0 : quotient;
    const CGSize size{scale * layer.transform.scale.x, (scale * layer.transform.scale.y) / ratio};
    if (isHeard) {
        Console::print("ratioScale = " + shortestDecimal(scale));
        Console::print("scale = (" + shortestDecimal(size.width) + ", " + shortestDecimal(size.height) + ")");
    }
    return size;
}

/// Edge, centre, edge.
Lines imageLines(const Layer& layer, const ZelComposer& composer, Orientation orientation, bool isHeard)
{
    const bool isHorizontal = orientation == Orientation::horizontal;
    const CGSize size = sizeOf(layer, composer, isHeard);
    const double half = (isHorizontal ? size.height : size.width) * 0.5;
    const double centre = isHorizontal ? layer.transform.location.y : layer.transform.location.x;
    const Lines lines{{centre - half, centre + 0 * half, centre + half}, 3};
    if (isHorizontal && isHeard)
        Console::print("guides = " + listText(lines));
    return lines;
}

Lines linesOf(const Layer& layer, const ZelComposer& composer, Orientation orientation, bool isHeard)
{
    if (layer.layerType == Layer::LayerType::image)
        return imageLines(layer, composer, orientation, isHeard);
    const CGPoint centre = layer.transform.location;
    return {{orientation == Orientation::horizontal ? centre.y : centre.x}, 1};
}

std::vector<double> listOf(const Lines& lines)
{
    return {lines.begin(), lines.end()};
}

Guide fresh(Orientation orientation, double location, bool intrinsic)
{
    return {.id = ZelId::newId(), .orientation = orientation, .location = location, .intrinsic = intrinsic};
}

std::vector<double> snapLines(const ZelComposer& composer, const Layer& layer, Orientation orientation)
{
    const bool isHeard = Console::isHeard();
    std::vector<double> lines;
    lines.reserve(6 * composer.layerList.size() + composer.guideList_.size() + 1 + 2 * snapMargins.size());
    const auto add = [&lines](const Lines& its) { lines.insert(lines.end(), its.begin(), its.end()); };
    for (const Layer& other : composer.layerList)
        if (other.id != layer.id)
            add(linesOf(other, composer, orientation, isHeard));
    // Those of `guideList` in its order, without guides, which cost an identifier each.
    for (const Guide& guide : composer.guideList_)
        if (guide.orientation == orientation)
            lines.push_back(guide.location);
    lines.push_back(0);
    const double unit = orientation == Orientation::horizontal ? composer.ratio : 1;
    for (const double margin : snapMargins) {
        lines.push_back((0.5 - margin) / unit);
        lines.push_back((margin - 0.5) / unit);
    }
    for (const Layer& each : composer.layerList)
        for (const Orientation direction : {Orientation::horizontal, Orientation::vertical}) {
            if (direction == orientation)
                add(linesOf(each, composer, direction, isHeard));
            else if (isHeard)
                (void)linesOf(each, composer, direction, isHeard); // it tells its steps all the same
        }
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
    return sizeOf(layer, composer.in, Console::isHeard());
}

std::vector<double> imageHGuides(const Layer& layer, InComposer composer)
{
    return listOf(imageLines(layer, composer.in, Orientation::horizontal, Console::isHeard()));
}

std::vector<double> imageVGuides(const Layer& layer, InComposer composer)
{
    return listOf(imageLines(layer, composer.in, Orientation::vertical, Console::isHeard()));
}

std::vector<double> horizontalGuides(const Layer& layer, InComposer composer)
{
    return listOf(linesOf(layer, composer.in, Orientation::horizontal, Console::isHeard()));
}

std::vector<double> verticalGuides(const Layer& layer, InComposer composer)
{
    return listOf(linesOf(layer, composer.in, Orientation::vertical, Console::isHeard()));
}

std::vector<Guide> guideList(const ZelComposer& composer, IncludingMargins margins)
{
    const bool isHeard = Console::isHeard();
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
            for (const double line : linesOf(layer, composer, orientation, isHeard))
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
