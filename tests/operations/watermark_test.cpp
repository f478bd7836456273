#include <zel/operations/watermark.h>

#include <common/pictures.h>

#include <gtest/gtest.h>

#include <limits>

namespace zel {
namespace {

using test::flat;
using test::pixelAt;
using test::Rgba;
using Position = ZelWatermark::Position;
using Policy = ZelWatermark::Scale::Policy;

TEST(Watermark, SizesByItsPolicy)
{
    const auto target = makeZelImage(flat(1000, 800, {})), mark = makeZelImage(flat(200, 100, {}));
    const struct {
        const char* name;
        ZelWatermark::Scale scale;
        CGSize size;
    } cases[] = {
        {"fitted, then half", {.policy = Policy::largestSideScale, .scale = 0.5}, {500, 250}},
        {"fitted", {.policy = Policy::largestSideScale, .scale = 1}, {1000, 500}},
        {"own size does not fit a tenth", {.policy = Policy::originalSize, .maxScale = 0.1}, {100, 50}},
        {"own size fits a half", {.policy = Policy::originalSize, .maxScale = 0.5}, {200, 100}},
        {"never enlarged", {.policy = Policy::originalSize, .maxScale = 9, .minScale = 5}, {200, 100}},
    };
    for (const auto& c : cases)
        EXPECT_EQ(c.scale.scaleOf({.watermarkImage = mark, .whenAppliedTo = target}), c.size) << c.name;
    EXPECT_EQ(ZelWatermark::Scale().scaleOf({.watermarkImage = nullptr, .whenAppliedTo = target}), CGSize{});
}

TEST(Watermark, StandsFlushAtItsPlace)
{
    // Left and top of a mark of 20 × 10 on 100 × 60, counted from the top left.
    const struct {
        Position position;
        int left, top;
    } cases[] = {
        {Position::topLeft, 0, 0},     {Position::topCenter, 40, 0},     {Position::topRight, 80, 0},
        {Position::centerLeft, 0, 25}, {Position::center, 40, 25},       {Position::centerRight, 80, 25},
        {Position::bottomLeft, 0, 50}, {Position::bottomCenter, 40, 50}, {Position::bottomRight, 80, 50},
    };
    const auto target = makeZelImage(flat(100, 60, {0, 0, 0, 255})),
               mark = makeZelImage(flat(20, 10, {255, 255, 255, 255}));
    for (const CGFloat scale : {1.0, 3.0}) {
        Screens::set({scale});
        for (const auto& c : cases) {
            SCOPED_TRACE(testing::Message() << rawValue(c.position) << ", display scale " << scale);
            const auto marked = watermark(target, {.with = mark, .using_ = {.position = c.position}});
            ASSERT_NE(marked, nullptr);
            ASSERT_EQ(marked->size, (CGSize{100, 60}));
            int count = 0;
            for (int y = 0; y < 60; ++y)
                for (int x = 0; x < 100; ++x)
                    if (pixelAt(*marked->cgImage, x, y)[0] == 255) {
                        ++count;
                        EXPECT_TRUE(x >= c.left && x < c.left + 20 && y >= c.top && y < c.top + 10) << x << ' ' << y;
                    }
            EXPECT_EQ(count, 200);
        }
    }
    Screens::set({});
}

TEST(Watermark, BlendsWithItsOpacity)
{
    const auto target = makeZelImage(flat(8, 8, {100, 100, 100, 255})),
               mark = makeZelImage(flat(8, 8, {200, 0, 0, 255}));
    const struct {
        double opacity;
        Rgba color;
    } cases[] = {{1, {200, 0, 0, 255}}, {0.5, {150, 50, 50, 255}}, {0, {100, 100, 100, 255}}};
    for (const auto& c : cases)
        EXPECT_EQ(pixelAt(*watermark(target, {.with = mark, .using_ = {.opacity = c.opacity}})->cgImage, 3, 3), c.color)
            << c.opacity;
    EXPECT_EQ(pixelAt(*target->cgImage, 3, 3), (Rgba{100, 100, 100, 255}));
}

TEST(Watermark, GivesNothingWithoutAMark)
{
    const auto target = makeZelImage(flat(8, 8, {1, 1, 1, 255})), blank = makeZelImage(BlankSize{.size = {4, 4}});
    EXPECT_EQ(watermark(target, {.with = blank, .using_ = {}}), nullptr);
    EXPECT_EQ(watermark(target, {.with = nullptr, .using_ = {}}), nullptr);
    EXPECT_EQ(watermark(nullptr, {.with = target, .using_ = {}}), nullptr);
    EXPECT_EQ(
        watermark(target, {.with = target, .using_ = {.scale = {.policy = Policy::largestSideScale, .scale = 0}}}),
        nullptr);
}

TEST(Watermark, JsonIsStrictAndOrdered)
{
    for (const Position position : allCases<Position>())
        for (const Policy policy : allCases<Policy>()) {
            const ZelWatermark mark{.position = position,
                                    .scale = {.policy = policy, .scale = 0.25, .maxScale = 0.5, .minScale = 0.125},
                                    .opacity = 0.75};
            EXPECT_EQ(encode(mark), "{\"position\":\"" + std::string(rawValue(position)) +
                                        "\",\"scale\":{\"policy\":\"" + displayName(policy) +
                                        "\",\"scale\":0.25,\"maxScale\":0.5,\"minScale\":0.125},\"opacity\":0.75}");
            EXPECT_EQ(encode(decode<ZelWatermark>(encode(mark))), encode(mark));
        }
    const struct {
        const char* text;
        ZelDecodingError::Kind kind;
        const char* path;
    } cases[] = {
        {R"({"position":"top left","scale":{"policy":"Original Size","scale":1,"maxScale":1,"minScale":0},"opacity":1})",
         ZelDecodingError::Kind::dataCorrupted, "position"},
        {R"({"position":"Top Left","scale":{"policy":"Original Size","scale":1,"maxScale":1},"opacity":1})",
         ZelDecodingError::Kind::keyNotFound, "scale.minScale"},
        {R"({"position":"Top Left","scale":{"policy":"Original Size","scale":1,"maxScale":1,"minScale":0}})",
         ZelDecodingError::Kind::keyNotFound, "opacity"},
        {R"({"position":"Top Left","scale":null,"opacity":1})", ZelDecodingError::Kind::valueNotFound, "scale"},
    };
    for (const auto& c : cases)
        try {
            (void)decode<ZelWatermark>(c.text);
            ADD_FAILURE() << c.text;
        } catch (const ZelDecodingError& error) {
            EXPECT_EQ(error.kind(), c.kind) << c.text;
            EXPECT_EQ(error.codingPath(), c.path);
        }
    EXPECT_EQ(fromRawValue<Position>("Top Left"), Position::topLeft);
    EXPECT_THROW((void)encode(ZelWatermark{.opacity = std::numeric_limits<double>::infinity()}), ZelEncodingError);
}

} // namespace
} // namespace zel
