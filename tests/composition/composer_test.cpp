#include <zel/composition/guides.h>

#include <common/pictures.h>

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>

namespace zel {
namespace {

using Layer = ZelComposer::Layer;
using Pairs = std::vector<ZelComposer::SearchAndReplace>;

TEST(SearchAndReplace, IgnoresLetterCaseAndGoesOnce)
{
    const struct {
        const char* name;
        const char* text;
        Pairs pairs;
        const char* result;
    } cases[] = {
        {"letter case", "Dear name,", {{"NAME", "Anna"}}, "Dear Anna,"},
        {"every occurrence", "aAa-A", {{"a", "b"}}, "bbb-b"},
        {"none overlaps another", "aaaaa", {{"aa", "b"}}, "bba"},
        {"what was put in is not looked at", "ab", {{"a", "aab"}}, "aabb"},
        {"longest prefixes are kept", "ababac aabaab", {{"ABAC", "x"}, {"aabaa", "y"}}, "abx yb"},
        {"a match behind a false start", "aaab", {{"aab", "x"}}, "ax"},
        {"one pair after another", "a", {{"a", "b"}, {"b", "c"}}, "c"},
        {"an empty search", "abc", {{"", "x"}}, "abc"},
        {"an empty replacement", "abc", {{"B", ""}}, "ac"},
        {"an empty text", "", {{"a", "x"}}, ""},
        {"a search longer than the text", "ab", {{"abc", "x"}}, "ab"},
        {"accents", "Élan ÉTÉ", {{"é", "e"}}, "elan eTe"},
        {"Greek, both small sigmas", "ΟΔΟΣ οδος", {{"οδοσ", "way"}}, "way way"},
        {"Cyrillic", "ПРИВЕТ привет", {{"Привет", "hi"}}, "hi hi"},
        {"a letter whose other case has other bytes", "\u212A and k", {{"K", "x"}}, "x and x"}, // the Kelvin sign
        {"the sharp s is one character", "STRASSE straße", {{"STRAẞE", "x"}}, "STRASSE x"},
        {"the dotted capital I is no i", "İi", {{"i", "x"}}, "İx"},
        {"the dotless i is no i", "ıI", {{"i", "x"}}, "ıx"},
        {"beyond the basic plane", "\U00010400!", {{"\U00010428", "x"}}, "x!"}, // Deseret
        {"signs without case", "5 € + 5 €", {{"€", "EUR"}}, "5 EUR + 5 EUR"},
        {"bytes that are no text", "a\xff\xc3z", {{"\xff", "?"}, {"Z", "!"}}, "a?\xc3!"},
        {"no pairs", "abc", {}, "abc"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        ZelComposer composer;
        composer.layerList.resize(3);
        composer.layerList[1].layerType = Layer::LayerType::shape;
        for (Layer& layer : composer.layerList)
            layer.text.text = c.text;
        const ZelComposer result = composer.composer({.with = std::span<const ZelComposer::SearchAndReplace>(c.pairs)});
        for (std::size_t i = 0; i < 3; ++i) {
            EXPECT_EQ(result.layerList[i].text.text, c.result);
            EXPECT_EQ(composer.layerList[i].text.text, c.text);
            EXPECT_EQ(result.layerList[i].id, composer.layerList[i].id);
        }
        EXPECT_EQ(result.id, composer.id);
        if (c.pairs.size() == 1) {
            EXPECT_EQ(composer.composer({.with = c.pairs.front()}).layerList[2].text.text, c.result);
        }
    }
}

TEST(SearchAndReplace, TakesNoLongerForTextsThatRepeat)
{
    ZelComposer composer;
    composer.layerList.resize(1);
    composer.layerList[0].text.text = std::string(2'000'000, 'a');
    const auto result = composer.composer({.with = {std::string(500'000, 'A') + 'b', "x"}});
    EXPECT_EQ(result.layerList[0].text.text, composer.layerList[0].text.text);
}

Layer layerOf(Layer::LayerType type, CGPoint location, double imageRatio = 1, double scale = 1)
{
    Layer layer;
    layer.layerType = type;
    layer.transform.location = location;
    layer.transform.scale = {scale, scale};
    layer.image.ratio = imageRatio;
    return layer;
}

ZelComposer composerOf(double ratio, std::vector<Layer> layers = {})
{
    ZelComposer composer;
    composer.ratio = ratio;
    composer.layerList = std::move(layers);
    return composer;
}

class Guides : public testing::Test {
    test::PrintedLines quiet_;
};

TEST_F(Guides, OfACompositionAreItsCentreAndMargins)
{
    const std::array margins = {0.0, 0.05};
    std::string text;
    for (const auto& guide : guideList(composerOf(2), {.including = margins})) {
        EXPECT_TRUE(guide.intrinsic);
        text +=
            std::string(rawValue(guide.orientation).substr(0, 1)) + std::to_string(guide.location).substr(0, 6) + " ";
    }
    EXPECT_EQ(text, "h0.0000 v0.0000 v0.5000 v-0.500 h0.2500 h-0.250 v0.4500 v-0.450 h0.2250 h-0.225 ");

    auto composer = composerOf(2, {layerOf(Layer::LayerType::text, {0.1, 0.2})});
    composer.guideList_.push_back({.id = "own", .location = 0.3});
    const auto guides = guideList(composer, {.including = {}});
    ASSERT_EQ(guides.size(), 5U);
    EXPECT_EQ(guides[0].id, "own");
    EXPECT_EQ(guides[3].location, 0.2);
    EXPECT_EQ(guides[4].location, 0.1);
    EXPECT_FALSE(guides[4].intrinsic);
    EXPECT_NE(guides[3].id, guides[4].id);
}

TEST_F(Guides, OfAnImageAreItsCentreAndEdges)
{
    const auto image = layerOf(Layer::LayerType::image, {0.1, -0.2}, 2, 0.5);
    const auto wide = composerOf(16.0 / 9);
    EXPECT_EQ(imageActualNormalizedSize(image, {.in = wide}), (CGSize{0.5, 0.25}));
    const CGSize high = imageActualNormalizedSize(layerOf(Layer::LayerType::image, {}), {.in = wide});
    EXPECT_EQ(high, (CGSize{16.0 / 9, 16.0 / 9}));
    EXPECT_EQ(verticalGuides(image, {.in = wide}), (std::vector{0.1 - 0.25, 0.1, 0.1 + 0.25}));
    EXPECT_EQ(horizontalGuides(image, {.in = wide}), (std::vector{-0.2 - 0.125, -0.2, -0.2 + 0.125}));
    const auto text = layerOf(Layer::LayerType::text, {0.1, 0.2}, 1, 9);
    EXPECT_EQ(verticalGuides(text, {.in = wide}), std::vector{0.1});
    EXPECT_EQ(horizontalGuides(text, {.in = wide}), std::vector{0.2});
    // What cannot be measured has a centre that is no number, either.
    const auto endless = imageVGuides(layerOf(Layer::LayerType::image, {}, 0), {.in = wide});
    EXPECT_TRUE(std::isnan(endless[1]));
    EXPECT_TRUE(
        std::isnan(imageActualNormalizedSize(layerOf(Layer::LayerType::image, {}, 0), {.in = composerOf(0)}).width));
}

TEST(GuidesConsole, TellsItsSteps)
{
    test::PrintedLines printed;
    (void)imageHGuides(layerOf(Layer::LayerType::image, {0, 1}, 2, 0.5), {.in = composerOf(1)});
    EXPECT_EQ(printed.lines(),
              (std::vector<std::string>{"ratioScale = 1.0", "scale = (0.5, 0.25)", "guides = [0.875, 1.0, 1.125]"}));
}

TEST_F(Guides, AreSnappedToWithinTenPixels)
{
    const auto shapeAt = [](double x) { return layerOf(Layer::LayerType::shape, {x, x}); };
    const auto image = layerOf(Layer::LayerType::image, {0.2, 0.2}, 2, 0.1); // 0.1 wide, 0.05 high
    const struct {
        const char* name;
        Layer layer;
        double at;
        CGSize view;
        std::optional<double> across, down;
    } cases[] = {
        {"the margin", shapeAt(0), 0.446, {1000, 1}, 0.45, std::nullopt},
        {"too far", shapeAt(0), 0.43, {1000, 1}, std::nullopt, std::nullopt},
        {"the centre", shapeAt(0), 0.004, {1000, 1}, 0.0, 0.0},
        {"its own place", shapeAt(0.3), 0.305, {1000, 1}, 0.3, 0.3},
        {"a smaller view reaches farther", shapeAt(0), 0.43, {400, 1}, 0.45, std::nullopt},
        {"exactly ten pixels", shapeAt(0), 0.0625, {160, 1}, 0.0, 0.0},
        {"the lower edge, 0.25 high up", shapeAt(0), -0.251, {1000, 1}, std::nullopt, -0.25},
        {"an edge on the edge", image, 0.4495, {1000, 1}, 0.45, std::nullopt},
        {"its upper edge on the upper edge", image, 0.224, {1000, 1}, std::nullopt, 0.225},
        {"not a number", shapeAt(0), std::numeric_limits<double>::quiet_NaN(), {1000, 1}, std::nullopt, std::nullopt},
        {"a view of no width reaches everything", shapeAt(0.3), 0.31, {0, 1}, 0.3, 0.3},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const auto composer = composerOf(2, {c.layer});
        const auto check = [](std::optional<double> found, std::optional<double> expected) {
            ASSERT_EQ(found.has_value(), expected.has_value());
            if (found) {
                EXPECT_NEAR(*found, *expected, 1e-12);
            }
        };
        check(nearestVerticalGuide(composer, {.for_ = composer.layerList[0], .at = c.at, .in = c.view}), c.across);
        check(nearestHorizontalGuide(composer, {.for_ = composer.layerList[0], .at = c.at, .in = c.view}), c.down);
    }
}

TEST_F(Guides, OfOthersComeFirstAndTheEarlierWinsATie)
{
    auto composer =
        composerOf(2, {layerOf(Layer::LayerType::shape, {0.25, 0}), layerOf(Layer::LayerType::shape, {0.125, 0})});
    const Layer dragged = layerOf(Layer::LayerType::shape, {0, 0});
    const auto lines = verticalGuides(composer, {.for_ = dragged});
    ASSERT_EQ(lines.size(), 2U + 5 + 2);
    EXPECT_EQ((std::vector{lines[0], lines[1], lines[2], lines[7], lines[8]}),
              (std::vector{0.25, 0.125, 0.0, 0.25, 0.125}));
    EXPECT_EQ(verticalGuides(composer, {.for_ = composer.layerList[0]}).size(), 1U + 5 + 2);
    EXPECT_EQ(nearestVerticalGuide(composer, {.for_ = dragged, .at = 0.1875, .in = {100, 1}}), 0.25);
    // An image 0.25 wide between a line for its centre and one for its edge, both 0.0625 away.
    const Layer image = layerOf(Layer::LayerType::image, {0, 0}, 2, 0.25);
    composer.layerList = {layerOf(Layer::LayerType::shape, {0.25, 0})};
    EXPECT_EQ(nearestVerticalGuide(composer, {.for_ = image, .at = 0.1875, .in = {100, 1}}), 0.25);
}

TEST_F(Guides, PositionsAreInWidthsOfTheView)
{
    const ZelComposer composer;
    const auto layer = layerOf(Layer::LayerType::shape, {0.1, -0.05});
    EXPECT_EQ(actualPosition(composer, {.of = layer, .in = {1000, 500}}), (CGPoint{100, -50}));
    EXPECT_EQ(livePosition(composer, {.of = layer, .inSize = {1000, 500}, .with = {20, 30}}), (CGPoint{120, -20}));
}

} // namespace
} // namespace zel
