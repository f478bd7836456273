#include <zel/composition/guides.h>
#include <zel/platform/foundation/console.h>

#include <common/pictures.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <random>

namespace zel {
namespace {

using Layer = ZelComposer::Layer;
using Orientation = ZelComposer::Guide::Orientation;

/// Documents with lines that coincide, and now and then with figures that are no sizes.
class Documents {
public:
    explicit Documents(unsigned seed) : random_(seed) {}

    ZelComposer composer()
    {
        ZelComposer composer;
        composer.ratio = figure({16.0 / 9, 2, 1, 0.5, 0, -1});
        for (int left = below(7); left > 0; --left)
            composer.layerList.push_back(layer());
        for (int left = below(4); left > 0; --left)
            composer.guideList_.push_back(
                {.id = "own",
                 .orientation = below(2) == 0 ? Orientation::vertical : Orientation::horizontal,
                 .location = place()});
        return composer;
    }
    Layer layer()
    {
        Layer layer;
        layer.layerType = allCases<Layer::LayerType>()[static_cast<std::size_t>(below(3))];
        layer.transform.location = {place(), place()};
        layer.transform.scale = {figure({0.1, 0.25, 1, 0}), figure({0.1, 0.25, 1, -1})};
        layer.image.ratio = figure({1, 2, 0.5, 0, std::numeric_limits<double>::infinity()});
        return layer;
    }
    double place() { return below(20) == 0 ? std::nan("") : (below(65) - 32) / 64.0; }
    int below(int bound) { return static_cast<int>(random_() % static_cast<unsigned>(bound)); }

private:
    /// Mostly one of the first two.
    double figure(std::vector<double> figures)
    {
        const int last = below(4) == 0 ? static_cast<int>(figures.size()) : 2;
        return figures[static_cast<std::size_t>(below(last))];
    }
    std::mt19937 random_;
};

/// By the longest way: all candidates, those within reach, sorted.
std::optional<double> nearestOf(const std::vector<double>& lines, std::optional<double> half, double at, double reach)
{
    std::vector<double> candidates = lines;
    for (const double side : {1.0, -1.0})
        for (const double line : lines)
            if (half)
                candidates.push_back(side > 0 ? line + *half : line - *half);
    std::erase_if(candidates, [&](double one) { return !(std::fabs(one - at) <= reach); });
    std::stable_sort(candidates.begin(), candidates.end(),
                     [&](double a, double b) { return std::fabs(a - at) < std::fabs(b - at); });
    return candidates.empty() ? std::nullopt : std::optional(candidates.front());
}

/// The lines of all other layers, then those of the guides.
std::vector<double> linesFor(const ZelComposer& composer, const Layer& layer, Orientation orientation)
{
    constexpr std::array margins = {0.0, 0.05};
    std::vector<double> lines;
    for (const Layer& other : composer.layerList) {
        if (other.id == layer.id)
            continue;
        const auto its = orientation == Orientation::vertical ? verticalGuides(other, {.in = composer})
                                                              : horizontalGuides(other, {.in = composer});
        lines.insert(lines.end(), its.begin(), its.end());
    }
    for (const auto& guide : guideList(composer, {.including = margins}))
        if (guide.orientation == orientation)
            lines.push_back(guide.location);
    return lines;
}

/// So that figures that are no numbers compare as well.
std::string textOf(const std::vector<double>& figures)
{
    std::string text;
    for (const double figure : figures)
        text += std::to_string(figure) + " ";
    return text;
}

TEST(Snapping, IsToTheFirstOfTheNearestCandidates)
{
    const test::PrintedLines quiet;
    Documents documents(1);
    int snapped = 0;
    for (int round = 0; round < 3000; ++round) {
        SCOPED_TRACE(round);
        const ZelComposer composer = documents.composer();
        const bool isStored = !composer.layerList.empty() && documents.below(3) > 0;
        Layer dragged = isStored ? composer.layerList.front() : documents.layer();
        dragged.transform.location = {documents.place(), documents.place()};
        const CGSize view{documents.below(10) == 0 ? 0.0 : 50.0 * (1 + documents.below(20)), 7};
        const double at = documents.place() + documents.below(9) / 512.0;
        const double reach = ZelComposer::kGuideSnapDistanceInPixels / view.width;
        const CGSize size = imageActualNormalizedSize(dragged, {.in = composer});
        const bool hasEdges = dragged.layerType == Layer::LayerType::image;
        const auto check = [&](Orientation orientation, double extent, std::optional<double> found,
                               const std::vector<double>& lines) {
            EXPECT_EQ(textOf(lines), textOf(linesFor(composer, dragged, orientation)));
            const auto expected = nearestOf(lines, hasEdges ? std::optional(extent * 0.5) : std::nullopt, at, reach);
            ASSERT_EQ(found.has_value(), expected.has_value());
            if (found) {
                EXPECT_EQ(*found, *expected);
                EXPECT_LE(std::fabs(*found - at), reach);
                ++snapped;
            }
        };
        check(Orientation::vertical, size.width,
              nearestVerticalGuide(composer, {.for_ = dragged, .at = at, .in = view}),
              verticalGuides(composer, {.for_ = dragged}));
        check(Orientation::horizontal, size.height,
              nearestHorizontalGuide(composer, {.for_ = dragged, .at = at, .in = view}),
              horizontalGuides(composer, {.for_ = dragged}));
    }
    EXPECT_GT(snapped, 2000);
}

TEST(Snapping, TellsTheSameStepsAsTheListsThatItLooksThrough)
{
    Documents documents(2);
    for (int round = 0; round < 50; ++round) {
        SCOPED_TRACE(round);
        const ZelComposer composer = documents.composer();
        const Layer dragged = documents.layer();
        for (const Orientation orientation : {Orientation::vertical, Orientation::horizontal}) {
            const auto printed = [](const auto& work) {
                const test::PrintedLines lines;
                work();
                return lines.lines();
            };
            const auto expected = printed([&] { (void)linesFor(composer, dragged, orientation); });
            const auto told = printed([&] {
                (void)(orientation == Orientation::vertical ? verticalGuides(composer, {.for_ = dragged})
                                                            : horizontalGuides(composer, {.for_ = dragged}));
            });
            EXPECT_EQ(told, expected);
        }
    }
}

TEST(Snapping, FindsTheSameWhereNobodyListens)
{
    Documents documents(3);
    for (int round = 0; round < 200; ++round) {
        const ZelComposer composer = documents.composer();
        const Layer dragged = documents.layer();
        const auto lines = [&] {
            return textOf(verticalGuides(composer, {.for_ = dragged})) +
                   textOf(horizontalGuides(composer, {.for_ = dragged}));
        };
        std::string heard;
        {
            const test::PrintedLines printed;
            heard = lines();
        }
        const auto before = Console::setSink({});
        const std::string unheard = lines();
        Console::setSink(before);
        EXPECT_EQ(unheard, heard) << round;
    }
}

} // namespace
} // namespace zel
