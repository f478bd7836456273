#include <zel/composition/canvas.h>
#include <zel/composition/composer.h>

#include <common/pictures.h>

#include <gtest/gtest.h>

namespace zel {
namespace {

using test::flat;
using test::pixelAt;

ZelCanvasLayer layerOf(const Ref<ZelImage>& image, ZelSpatialConforming conforming = ZelSpatialConforming::none,
                       ZelCanvasLayer::Transform transform = {})
{
    return ZelCanvasLayer({.id = "layer",
                           .type = ZelCanvasLayer::LayerType::image,
                           .source = {.identification = ZelCanvasLayer::Source::Identification::image,
                                      .url = {},
                                      .shareAppId = {},
                                      .image = image},
                           .spatialConforming = conforming,
                           .transform = transform});
}

using Box = std::array<int, 4>;
constexpr Box nothing{1 << 20, 1 << 20, 0, 0};

/// Where the picture is opaque: left, top, right, bottom.
Box opaqueBox(const Ref<ZelImage>& image)
{
    Box box = nothing;
    for (int y = 0; y < image->cgImage->height(); ++y)
        for (int x = 0; x < image->cgImage->width(); ++x)
            if (pixelAt(*image->cgImage, x, y)[3] == 255)
                box = {std::min(box[0], x), std::min(box[1], y), std::max(box[2], x + 1), std::max(box[3], y + 1)};
    return box;
}

TEST(Canvas, SizesLayersAgainstItself)
{
    const auto picture = makeZelImage(flat(100, 50, {255, 0, 0, 255}));
    const struct {
        const char* name;
        ZelSpatialConforming conforming;
        ZelCanvasLayer::Transform transform;
        Box box;
    } cases[] = {
        {"none", ZelSpatialConforming::none, {}, {150, 175, 250, 225}},
        {"fit", ZelSpatialConforming::fit, {}, {0, 100, 400, 300}},
        {"fit at half", ZelSpatialConforming::fit, {.scale = 0.5}, {100, 150, 300, 250}},
        {"fill is clipped", ZelSpatialConforming::fill, {}, {0, 0, 400, 400}},
        {"to the lower left", ZelSpatialConforming::none, {.position = {0.25, 0.125}}, {50, 325, 150, 375}},
        {"the anchor has no say", ZelSpatialConforming::none, {.anchor = {0, 0}}, {150, 175, 250, 225}},
        {"nothing of it", ZelSpatialConforming::none, {.scale = 0}, nothing},
    };
    for (const CGFloat scale : {1.0, 2.0}) {
        Screens::set({scale});
        for (const auto& c : cases) {
            SCOPED_TRACE(testing::Message() << c.name << ", display scale " << scale);
            ZelCanvas canvas(ZelCanvas::Size(400, 400));
            canvas.layerList.push_back(layerOf(picture, c.conforming, c.transform));
            const auto drawn = canvas.getImage();
            EXPECT_EQ(drawn->size, (CGSize{400, 400}));
            EXPECT_EQ(drawn->image->size(), (CGSize{400 / scale, 400 / scale}));
            EXPECT_EQ(opaqueBox(drawn), c.box);
        }
    }
    Screens::set({});
}

TEST(Canvas, FitsOnePictureIntoASquare)
{
    const auto wide = makeZelImage(flat(400, 300, {1, 1, 1, 255})), tall = makeZelImage(flat(300, 400, {1, 1, 1, 255}));
    EXPECT_EQ(opaqueBox(ZelCanvas::fit({.image = wide, .inRatio = 7})), (Box{0, 50, 400, 350}));
    EXPECT_EQ(opaqueBox(ZelCanvas::fit({.image = tall, .inRatio = 1})), (Box{50, 0, 350, 400}));
    EXPECT_EQ(ZelCanvas::fit({.image = nullptr, .inRatio = 1}), nullptr);
}

TEST(Canvas, DrawsEveryLayerAgainWhenAskedAgain)
{
    ZelCanvas canvas(ZelCanvas::Size(4, 4));
    canvas.layerList.push_back(
        layerOf(makeZelImage(flat(4, 4, {128, 0, 0, 128})), ZelSpatialConforming::fill, {.opacity = 0.5}));
    canvas.layerList.push_back(layerOf(nullptr));
    EXPECT_NEAR(pixelAt(*canvas.getImage()->cgImage, 1, 1)[3], 64, 1);
    EXPECT_NEAR(pixelAt(*canvas.getImage()->cgImage, 1, 1)[3], 112, 1); // 64 + 64 × (1 - 64 ÷ 255)
}

TEST(Canvas, LayersWithoutAnImageLeaveTheBaseItself)
{
    const auto base = makeZelImage(flat(2, 2, {}));
    EXPECT_EQ(layerOf(nullptr).draw({.on = base}), base);
    EXPECT_EQ(layerOf(base).draw({.on = nullptr}), nullptr);
}

TEST(Canvas, LoadsWhatItsLayersName)
{
    using Identification = ZelCanvasLayer::Source::Identification;
    ZelCanvas canvas(ZelCanvas::Size(4, 4));
    const ZelCanvasLayer::Source sources[] = {
        {.identification = Identification::url, .url = URL::file("/no/such/file.png"), .shareAppId = {}, .image = {}},
        {.identification = Identification::url, .url = {}, .shareAppId = {}, .image = {}},
        {.identification = Identification::shareAppId, .url = {}, .shareAppId = "some", .image = {}},
        {.identification = Identification::image, .url = {}, .shareAppId = {}, .image = {}},
    };
    for (const auto& source : sources)
        canvas.layerList.push_back(ZelCanvasLayer({.id = "l", .source = source}));
    const auto kept = makeZelImage(flat(1, 1, {}));
    canvas.layerList.push_back(layerOf(kept));
    canvas.loadAllLayers().get();
    for (std::size_t i = 0; i < 4; ++i)
        EXPECT_EQ(canvas.layerList[i].image, nullptr) << i;
    EXPECT_EQ(canvas.layerList[4].image, kept);
}

TEST(Canvas, JsonReadsLenientlyAndWritesInOrder)
{
    const auto empty = decode<ZelCanvas>("{}");
    EXPECT_EQ(empty.size, ZelCanvas::Size(512, 512));
    EXPECT_TRUE(empty.layerList.empty());
    EXPECT_EQ(empty.image->size, (CGSize{512, 512}));

    ZelCanvas canvas(ZelCanvas::Size(30, 20));
    canvas.layerList.push_back(
        layerOf(makeZelImage(flat(2, 2, {})), ZelSpatialConforming::fit, {.position = {0.25, 0.5}, .opacity = 0.5}));
    EXPECT_EQ(
        encode(canvas),
        R"({"size":{"width":30,"height":20},"layerList":[{"id":"layer","type":"Image","source":{"identification":"image"},)"
        R"("spatialConforming":"Fit","transform":{"anchor":[0.5,0.5],"position":[0.25,0.5],"scale":1.0,"opacity":0.5}}]})");
    const auto again = decode<ZelCanvas>(encode(canvas));
    EXPECT_EQ(again.layerList[0].image, nullptr);
    EXPECT_EQ(encode(again), encode(canvas));

    const std::string fresh =
        R"("spatialConforming":"Fill","transform":{"anchor":[0.5,0.5],"position":[0.5,0.5],"scale":1.0,"opacity":1.0}})";
    const struct {
        const char* name;
        const char* text;
        std::string written; // without the identifier
    } layers[] = {
        {"nothing stated", "{}", R"("type":"Image","source":{"identification":"url"},)" + fresh},
        {"everything wrong",
         R"({"id":7,"type":"image","source":{"identification":"nowhere","shareAppId":"x"},"spatialConforming":null,)"
         R"("transform":{"anchor":[0,0],"position":[0,0],"scale":2}})",
         R"("type":"Image","source":{"identification":"url"},)" + fresh},
        {"an address", R"({"source":{"identification":"shareAppId","url":"file:///a.png","shareAppId":"x"}})",
         R"("type":"Image","source":{"identification":"shareAppId","url":"file:///a.png","shareAppId":"x"},)" + fresh},
    };
    for (const auto& c : layers) {
        const std::string text = encode(decode<ZelCanvasLayer>(c.text));
        EXPECT_EQ(text.substr(text.find("\"type\"")), c.written) << c.name;
        EXPECT_GT(text.find("\"type\""), std::string(R"({"id":"",)").size()) << c.name;
    }
    EXPECT_THROW(decode<ZelCanvas>("[]"), ZelDecodingError);
    EXPECT_THROW(decode<ZelCanvasLayer>("7"), ZelDecodingError);
    EXPECT_THROW(decode<ZelCanvasLayer::Transform>(R"({"anchor":[0,0],"position":[0,0],"scale":2})"), ZelDecodingError);
    EXPECT_TRUE(decode<ZelCanvas>(R"({"layerList":[{}, 7]})")
                    .layerList.empty()); // one that is no layer: the list is unreadable
    EXPECT_EQ(decode<ZelCanvas>(R"({"size":{"width":1000000000,"height":1000000000}})").size.width, 1000000000);
}

TEST(Canvas, PickableCases)
{
    EXPECT_EQ(displayName(ZelSpatialConforming::fit), "Fit");
    EXPECT_EQ(rawValue(ZelCanvasLayer::LayerType::image), "Image");
    EXPECT_EQ(fromRawValue<ZelSpatialConforming>("fit"), std::nullopt);
    EXPECT_EQ(allCases<ZelSpatialConforming>().size(), 3U);
    EXPECT_EQ(ZelCanvas::Size(CGSize{3.9, -3.9}), ZelCanvas::Size(3, -3));
}

TEST(Normalizing, ScalesBothCoordinatesByTheWidth)
{
    EXPECT_EQ(normalize(CGPoint{10, 20}, {.to = {1000, 500}}), (CGPoint{0.01, 0.02}));
    EXPECT_EQ(deNormalize(CGPoint{0.01, 0.02}, {.to = {1000, 500}}), (CGPoint{10, 20}));
    EXPECT_EQ(normalize(5.0, {.to = {10, 99}}), 0.5);
    EXPECT_EQ(deNormalize(0.5, {.to = {10, 99}}), 5.0);
}

} // namespace
} // namespace zel
