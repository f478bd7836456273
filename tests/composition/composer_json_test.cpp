#include <zel/composition/composer.h>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <limits>

namespace zel {
namespace {

using Kind = ZelDecodingError::Kind;
using Layer = ZelComposer::Layer;
using Json = nlohmann::ordered_json;

constexpr const char* document =
    R"({"id":"c","name":"Poster","ratio":2.0,"layerList":[)"
    R"({"id":"l","layerType":"text","image":{"type":"shareApp","ratio":1.5,"resourceAccess":)"
    R"({"url":"file:///a%20b.png","shareAppId":"s","ingestedId":"i"}},)"
    R"("shape":{"type":"circle","style":{"strokeWidth":2.5,"fill":false,"fillStyle":"color",)"
    R"("fillColor":{"red":0.1,"green":0.2,"blue":0.3,"alpha":0.4}}},)"
    R"("text":{"text":"Grüße","font":{"name":"Serif","size":12.5},"alignment":"right",)"
    R"("color":{"red":0.0,"green":0.0,"blue":0.0,"alpha":1.0}},)"
    R"("transform":{"location":[0.25,-0.125],"scale":{"x":0.5,"y":-2.0},"rotation":90.0,"opacity":0.75}}],)"
    R"("guideList_":[{"id":"g","orientation":"vertical","location":0.25,"intrinsic":true}],)"
    R"("bgColor":{"red":1.0,"green":0.5,"blue":0.0,"alpha":1.0},"shouldBeDeleted":true,"selectedLayerId":"l"})";

TEST(ComposerJson, GoesThereAndBack)
{
    const auto composer = decode<ZelComposer>(document);
    EXPECT_EQ(encode(composer), document);
    ASSERT_EQ(composer.layerList.size(), 1U);
    const Layer& layer = composer.layerList.front();
    EXPECT_EQ(layer.layerType, Layer::LayerType::text);
    EXPECT_EQ(layer.image.resourceAccess.url, URL::parse("file:///a%20b.png"));
    EXPECT_EQ(layer.shape.style.fillColor, ZelColor(0.1, 0.2, 0.3, 0.4));
    EXPECT_EQ(layer.text.text, "Grüße");
    EXPECT_EQ(layer.transform.location, (CGPoint{0.25, -0.125}));
    EXPECT_EQ(composer.guideList_.front().orientation, ZelComposer::Guide::Orientation::vertical);
    EXPECT_EQ(composer.selectedLayerId, "l");
    EXPECT_EQ(decode<Layer>(encode(layer)), layer);
}

TEST(ComposerJson, NewRecordsHaveTheirDefaults)
{
    ZelComposer composer;
    composer.id = "c";
    EXPECT_EQ(encode(composer),
              R"({"id":"c","name":"Composer","ratio":1.7777777777777777,"layerList":[],"guideList_":[],)"
              R"("bgColor":{"red":0.5,"green":0.5,"blue":0.5,"alpha":1.0},"shouldBeDeleted":false})");
    Layer layer;
    EXPECT_NE(layer.id, Layer().id);
    EXPECT_NE(composer.id, ZelComposer().id);
    layer.id = "l";
    EXPECT_EQ(encode(layer),
              R"({"id":"l","layerType":"image","image":{"type":"shareApp","ratio":1.0,"resourceAccess":{}},)"
              R"("shape":{"type":"rectangle","style":{"strokeWidth":0.0,"fill":true,"fillStyle":"color",)"
              R"("fillColor":{"red":0.5,"green":0.5,"blue":0.5,"alpha":1.0}}},)"
              R"("text":{"text":"","font":{"name":"Courier","size":64.0},"alignment":"left",)"
              R"("color":{"red":1.0,"green":1.0,"blue":1.0,"alpha":1.0}},)"
              R"("transform":{"location":[0.0,0.0],"scale":{"x":1.0,"y":1.0},"rotation":0.0,"opacity":1.0}})");
    EXPECT_EQ(encode(Layer::Image::ResourceAccess{.shareAppId = "s"}), R"({"shareAppId":"s"})");
    EXPECT_EQ(encode(decode<ZelComposer::SearchAndReplace>(R"({"replace":"b","search":"a"})")),
              R"({"search":"a","replace":"b"})");
}

struct Damage {
    const char* place; ///< as a JSON pointer
    const char* value; ///< null: taken away
    Kind kind;
    const char* path;
};

const Damage damages[] = {
    {"/id", nullptr, Kind::keyNotFound, "id"},
    {"/name", nullptr, Kind::keyNotFound, "name"},
    {"/ratio", nullptr, Kind::keyNotFound, "ratio"},
    {"/layerList", nullptr, Kind::keyNotFound, "layerList"},
    {"/guideList_", nullptr, Kind::keyNotFound, "guideList_"},
    {"/bgColor", nullptr, Kind::keyNotFound, "bgColor"},
    {"/shouldBeDeleted", nullptr, Kind::keyNotFound, "shouldBeDeleted"},
    {"/id", "7", Kind::typeMismatch, "id"},
    {"/id", "null", Kind::valueNotFound, "id"},
    {"/name", "[]", Kind::typeMismatch, "name"},
    {"/ratio", R"("2")", Kind::typeMismatch, "ratio"},
    {"/ratio", "null", Kind::valueNotFound, "ratio"},
    {"/ratio", "true", Kind::typeMismatch, "ratio"},
    {"/layerList", "{}", Kind::typeMismatch, "layerList"},
    {"/layerList", "null", Kind::valueNotFound, "layerList"},
    {"/layerList/0", "null", Kind::valueNotFound, "layerList[0]"},
    {"/layerList/0", "[]", Kind::typeMismatch, "layerList[0]"},
    {"/guideList_", "1", Kind::typeMismatch, "guideList_"},
    {"/guideList_/0", "7", Kind::typeMismatch, "guideList_[0]"},
    {"/guideList_/0", "null", Kind::valueNotFound, "guideList_[0]"},
    {"/bgColor", R"("#fff")", Kind::typeMismatch, "bgColor"},
    {"/bgColor/alpha", nullptr, Kind::keyNotFound, "bgColor.alpha"},
    {"/bgColor/red", "[1]", Kind::typeMismatch, "bgColor.red"},
    {"/shouldBeDeleted", "1", Kind::typeMismatch, "shouldBeDeleted"},
    {"/shouldBeDeleted", R"("no")", Kind::typeMismatch, "shouldBeDeleted"},
    {"/selectedLayerId", "1", Kind::typeMismatch, "selectedLayerId"},
    {"/layerList/0/id", nullptr, Kind::keyNotFound, "layerList[0].id"},
    {"/layerList/0/layerType", nullptr, Kind::keyNotFound, "layerList[0].layerType"},
    {"/layerList/0/image", nullptr, Kind::keyNotFound, "layerList[0].image"},
    {"/layerList/0/shape", nullptr, Kind::keyNotFound, "layerList[0].shape"},
    {"/layerList/0/text", nullptr, Kind::keyNotFound, "layerList[0].text"},
    {"/layerList/0/transform", nullptr, Kind::keyNotFound, "layerList[0].transform"},
    {"/layerList/0/layerType", R"("video")", Kind::dataCorrupted, "layerList[0].layerType"},
    {"/layerList/0/layerType", R"("Text")", Kind::dataCorrupted, "layerList[0].layerType"},
    {"/layerList/0/layerType", "0", Kind::typeMismatch, "layerList[0].layerType"},
    {"/layerList/0/image", R"("i")", Kind::typeMismatch, "layerList[0].image"},
    {"/layerList/0/image/type", nullptr, Kind::keyNotFound, "layerList[0].image.type"},
    {"/layerList/0/image/type", R"("file")", Kind::dataCorrupted, "layerList[0].image.type"},
    {"/layerList/0/image/type", R"("shareapp")", Kind::dataCorrupted, "layerList[0].image.type"},
    {"/layerList/0/image/ratio", nullptr, Kind::keyNotFound, "layerList[0].image.ratio"},
    {"/layerList/0/image/ratio", "{}", Kind::typeMismatch, "layerList[0].image.ratio"},
    {"/layerList/0/image/resourceAccess", nullptr, Kind::keyNotFound, "layerList[0].image.resourceAccess"},
    {"/layerList/0/image/resourceAccess", "null", Kind::valueNotFound, "layerList[0].image.resourceAccess"},
    {"/layerList/0/image/resourceAccess/url", "5", Kind::typeMismatch, "layerList[0].image.resourceAccess.url"},
    {"/layerList/0/image/resourceAccess/shareAppId", "{}", Kind::typeMismatch,
     "layerList[0].image.resourceAccess.shareAppId"},
    {"/layerList/0/image/resourceAccess/ingestedId", "false", Kind::typeMismatch,
     "layerList[0].image.resourceAccess.ingestedId"},
    {"/layerList/0/shape", "null", Kind::valueNotFound, "layerList[0].shape"},
    {"/layerList/0/shape/type", R"("star")", Kind::dataCorrupted, "layerList[0].shape.type"},
    {"/layerList/0/shape/style", nullptr, Kind::keyNotFound, "layerList[0].shape.style"},
    {"/layerList/0/shape/style/strokeWidth", nullptr, Kind::keyNotFound, "layerList[0].shape.style.strokeWidth"},
    {"/layerList/0/shape/style/strokeWidth", "null", Kind::valueNotFound, "layerList[0].shape.style.strokeWidth"},
    {"/layerList/0/shape/style/fill", "0", Kind::typeMismatch, "layerList[0].shape.style.fill"},
    {"/layerList/0/shape/style/fillStyle", R"("gradient")", Kind::dataCorrupted, "layerList[0].shape.style.fillStyle"},
    {"/layerList/0/shape/style/fillStyle", nullptr, Kind::keyNotFound, "layerList[0].shape.style.fillStyle"},
    {"/layerList/0/shape/style/fillColor", "[]", Kind::typeMismatch, "layerList[0].shape.style.fillColor"},
    {"/layerList/0/shape/style/fillColor/blue", nullptr, Kind::keyNotFound, "layerList[0].shape.style.fillColor.blue"},
    {"/layerList/0/text", R"("Hello")", Kind::typeMismatch, "layerList[0].text"},
    {"/layerList/0/text", "[]", Kind::typeMismatch, "layerList[0].text"},
    {"/layerList/0/transform", "1", Kind::typeMismatch, "layerList[0].transform"},
    {"/layerList/0/transform/location", nullptr, Kind::keyNotFound, "layerList[0].transform.location"},
    {"/layerList/0/transform/location", R"({"x":0,"y":0})", Kind::typeMismatch, "layerList[0].transform.location"},
    {"/layerList/0/transform/location", "[1]", Kind::valueNotFound, "layerList[0].transform.location[1]"},
    {"/layerList/0/transform/location", "[1,2,3]", Kind::dataCorrupted, "layerList[0].transform.location"},
    {"/layerList/0/transform/location/1", R"("2")", Kind::typeMismatch, "layerList[0].transform.location[1]"},
    {"/layerList/0/transform/location/0", "null", Kind::valueNotFound, "layerList[0].transform.location[0]"},
    {"/layerList/0/transform/scale", "2", Kind::typeMismatch, "layerList[0].transform.scale"},
    {"/layerList/0/transform/scale/x", nullptr, Kind::keyNotFound, "layerList[0].transform.scale.x"},
    {"/layerList/0/transform/scale/x", R"("1")", Kind::typeMismatch, "layerList[0].transform.scale.x"},
    {"/layerList/0/transform/scale/y", "null", Kind::valueNotFound, "layerList[0].transform.scale.y"},
    {"/layerList/0/transform/rotation", nullptr, Kind::keyNotFound, "layerList[0].transform.rotation"},
    {"/layerList/0/transform/rotation", "true", Kind::typeMismatch, "layerList[0].transform.rotation"},
    {"/layerList/0/transform/opacity", nullptr, Kind::keyNotFound, "layerList[0].transform.opacity"},
};

TEST(ComposerJson, DamageNamesItsPlace)
{
    for (const Damage& damage : damages) {
        SCOPED_TRACE(testing::Message() << damage.place << " " << (damage.value ? damage.value : "taken away"));
        Json json = Json::parse(document);
        const Json::json_pointer place(damage.place);
        if (damage.value)
            json[place] = Json::parse(damage.value);
        else
            json[place.parent_pointer()].erase(place.back());
        try {
            (void)decode<ZelComposer>(json.dump());
            ADD_FAILURE() << "read";
        } catch (const ZelDecodingError& error) {
            EXPECT_EQ(error.kind(), damage.kind) << error.what();
            EXPECT_EQ(error.codingPath(), damage.path);
        }
    }
    for (const char* const text : {"", "{", "[]", "null", R"({"id":"\ud800"})", "{\"id\":\"\xff\"}"})
        EXPECT_THROW((void)decode<ZelComposer>(text), ZelDecodingError) << text;
}

TEST(ComposerJson, OptionalFieldsMayBeMissingOrNull)
{
    for (const char* const place :
         {"/selectedLayerId", "/layerList/0/image/resourceAccess/url", "/layerList/0/image/resourceAccess/shareAppId",
          "/layerList/0/image/resourceAccess/ingestedId"})
        for (const bool isNull : {false, true}) {
            SCOPED_TRACE(place);
            Json json = Json::parse(document);
            const Json::json_pointer pointer(place);
            json[pointer] = nullptr;
            const Json withNull = json;
            json[pointer.parent_pointer()].erase(pointer.back());
            EXPECT_EQ(encode(decode<ZelComposer>((isNull ? withNull : json).dump())), json.dump());
        }
}

TEST(ComposerJson, TextAndGuideReplaceWhatTheyCannotRead)
{
    const Layer::Text fallback{.text = "", .font = {"Courier", 12}, .alignment = Layer::Text::Alignment::left};
    EXPECT_EQ(decode<Layer::Text>("{}"), fallback);
    EXPECT_EQ(decode<Layer::Text>(R"({"text":1,"font":"Serif","alignment":"middle","color":[1,1,1]})"), fallback);
    EXPECT_EQ(decode<Layer::Text>(R"({"text":null,"font":{"name":"Serif"},"alignment":null,"color":null})"), fallback);
    Layer::Text kept = fallback;
    kept.text = "kept";
    kept.color = ZelColor(0, 1, 0, 1);
    EXPECT_EQ(
        decode<Layer::Text>(R"({"text":"kept","alignment":"Left","color":{"red":0,"green":1,"blue":0,"alpha":1}})"),
        kept);

    for (const char* const text : {"{}", R"({"id":1,"orientation":"diagonal","location":"0.5","intrinsic":1})",
                                   R"({"id":null,"orientation":null,"location":null,"intrinsic":null})"}) {
        const auto guide = decode<ZelComposer::Guide>(text), other = decode<ZelComposer::Guide>(text);
        EXPECT_FALSE(guide.id.empty());
        EXPECT_NE(guide.id, other.id);
        EXPECT_EQ(guide.orientation, ZelComposer::Guide::Orientation::horizontal);
        EXPECT_EQ(guide.location, 0);
        EXPECT_FALSE(guide.intrinsic);
    }
    EXPECT_EQ(encode(decode<ZelComposer::Guide>(R"({"id":"g","orientation":"vertical","location":"?"})")),
              R"({"id":"g","orientation":"vertical","location":0.0,"intrinsic":false})");
    EXPECT_THROW((void)decode<ZelComposer::Guide>("[]"), ZelDecodingError);
    EXPECT_THROW((void)decode<Layer::Text>("7"), ZelDecodingError);
}

TEST(ComposerJson, WhatHasNoFormIsRefusedByItsPlace)
{
    auto composer = decode<ZelComposer>(document);
    composer.layerList.emplace_back();
    composer.layerList.back().transform.scale.y = std::numeric_limits<double>::infinity();
    try {
        (void)encode(composer);
        ADD_FAILURE() << "written";
    } catch (const ZelEncodingError& error) {
        EXPECT_EQ(error.codingPath(), "layerList[1].transform.scale.y");
    }
    composer.layerList.pop_back();
    composer.layerList.front().text.text = "\xff";
    EXPECT_THROW((void)encode(composer), ZelEncodingError);
}

template <class E>
std::string table()
{
    std::string text;
    for (const E value : allCases<E>()) {
        EXPECT_EQ(fromRawValue<E>(rawValue(value)), value);
        text += std::string(rawValue(value)) + " " + displayName(value) + "; ";
    }
    EXPECT_FALSE(fromRawValue<E>("video"));
    return text;
}

TEST(ComposerEnumerations, HaveOrderRawValuesAndNames)
{
    EXPECT_EQ(table<Layer::LayerType>(), "image Image; text Text; shape Shape; ");
    EXPECT_EQ(table<Layer::Image::ImageType>(), "url Url; shareApp Shareapp; ingested Ingested; ");
    EXPECT_EQ(table<Layer::Shape::ShapeType>(), "rectangle Rectangle; circle Circle; ");
    EXPECT_EQ(table<Layer::Shape::Style::FillStyle>(), "color Color; ");
    EXPECT_EQ(table<Layer::Text::Alignment>(), "left Left; center Center; right Right; ");
    EXPECT_EQ(table<ZelComposer::Guide::Orientation>(), "horizontal Horizontal; vertical Vertical; ");
}

} // namespace
} // namespace zel
