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
}

/// The text of a record that stands somewhere in the document.
template <class Record>
void expectRoundTrip(const char* place)
{
    SCOPED_TRACE(place);
    const std::string stored = Json::parse(document).at(Json::json_pointer(place)).dump();
    EXPECT_EQ(encode(decode<Record>(stored)), stored);
}

TEST(ComposerJson, EveryRecordGoesThereAndBack)
{
    expectRoundTrip<ZelComposer::Guide>("/guideList_/0");
    expectRoundTrip<Layer>("/layerList/0");
    expectRoundTrip<Layer::Image>("/layerList/0/image");
    expectRoundTrip<Layer::Image::ResourceAccess>("/layerList/0/image/resourceAccess");
    expectRoundTrip<Layer::Shape>("/layerList/0/shape");
    expectRoundTrip<Layer::Shape::Style>("/layerList/0/shape/style");
    expectRoundTrip<Layer::Text>("/layerList/0/text");
    expectRoundTrip<Layer::Transform>("/layerList/0/transform");
    expectRoundTrip<Layer::Transform::Scale>("/layerList/0/transform/scale");
    const Layer layer = decode<ZelComposer>(document).layerList.front();
    EXPECT_EQ(decode<Layer>(encode(layer)), layer);
    EXPECT_EQ(encode(decode<ZelComposer::SearchAndReplace>(R"({"replace":"b","search":"a"})")),
              R"({"search":"a","replace":"b"})");
    for (const char* const stored : {R"({"replace":"b"})", R"({"search":"a"})", R"({"search":1,"replace":"b"})"})
        EXPECT_THROW((void)decode<ZelComposer::SearchAndReplace>(stored), ZelDecodingError) << stored;
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
}

/// "/layerList/0/id" → "layerList[0].id"
std::string codingPath(const std::string& place)
{
    std::string path;
    for (const char letter : place.substr(1)) {
        if (letter >= '0' && letter <= '9') {
            path.back() = '[';
            (path += letter) += ']';
        } else {
            path += letter == '/' ? '.' : letter;
        }
    }
    return path;
}

/// The document with another value there, or, without one, with nothing there.
std::string changed(const std::string& place, const char* value)
{
    Json json = Json::parse(document);
    const Json::json_pointer pointer(place);
    if (value != nullptr)
        json[pointer] = Json::parse(value);
    else
        json[pointer.parent_pointer()].erase(pointer.back());
    return json.dump();
}

void expectError(const std::string& text, Kind kind, const std::string& path)
{
    try {
        (void)decode<ZelComposer>(text);
        ADD_FAILURE() << "read";
    } catch (const ZelDecodingError& error) {
        EXPECT_EQ(error.kind(), kind) << error.what();
        EXPECT_EQ(error.codingPath(), path);
    }
}

constexpr const char* values[] = {R"("video")", "0", "true", "{}", "[]"};
enum Type : std::size_t { aText, aNumber, aBoolean, anObject, anArray, aCase };

struct Key {
    const char* place; ///< as a JSON pointer
    Type type;         ///< `aCase`: of an enumeration
};

/// Every key that must be there, record by record.
const Key keys[] = {
    {"/id", aText},
    {"/name", aText},
    {"/ratio", aNumber},
    {"/layerList", anArray},
    {"/guideList_", anArray},
    {"/bgColor", anObject},
    {"/bgColor/red", aNumber},
    {"/bgColor/green", aNumber},
    {"/bgColor/blue", aNumber},
    {"/bgColor/alpha", aNumber},
    {"/shouldBeDeleted", aBoolean},
    {"/layerList/0/id", aText},
    {"/layerList/0/layerType", aCase},
    {"/layerList/0/image", anObject},
    {"/layerList/0/image/type", aCase},
    {"/layerList/0/image/ratio", aNumber},
    {"/layerList/0/image/resourceAccess", anObject},
    {"/layerList/0/shape", anObject},
    {"/layerList/0/shape/type", aCase},
    {"/layerList/0/shape/style", anObject},
    {"/layerList/0/shape/style/strokeWidth", aNumber},
    {"/layerList/0/shape/style/fill", aBoolean},
    {"/layerList/0/shape/style/fillStyle", aCase},
    {"/layerList/0/shape/style/fillColor", anObject},
    {"/layerList/0/text", anObject},
    {"/layerList/0/transform", anObject},
    {"/layerList/0/transform/location", anArray},
    {"/layerList/0/transform/scale", anObject},
    {"/layerList/0/transform/scale/x", aNumber},
    {"/layerList/0/transform/scale/y", aNumber},
    {"/layerList/0/transform/rotation", aNumber},
    {"/layerList/0/transform/opacity", aNumber},
};

TEST(ComposerJson, MissingNullAndMistypedKeysAreNamed)
{
    for (const Key& key : keys) {
        const std::string path = codingPath(key.place);
        SCOPED_TRACE(path);
        expectError(changed(key.place, nullptr), Kind::keyNotFound, path);
        expectError(changed(key.place, "null"), Kind::valueNotFound, path);
        for (std::size_t type = 0; type < std::size(values); ++type) {
            SCOPED_TRACE(values[type]);
            if (key.type == aCase && type == aText)
                expectError(changed(key.place, values[type]), Kind::dataCorrupted, path);
            else if (type != key.type)
                expectError(changed(key.place, values[type]), Kind::typeMismatch, path);
        }
    }
}

struct Damage {
    const char* place;
    const char* value;
    Kind kind;
    const char* path;
};

const Damage damages[] = {
    {"/layerList/0", "null", Kind::valueNotFound, "layerList[0]"},
    {"/layerList/0", "[]", Kind::typeMismatch, "layerList[0]"},
    {"/guideList_/0", "7", Kind::typeMismatch, "guideList_[0]"},
    {"/guideList_/0", "null", Kind::valueNotFound, "guideList_[0]"},
    {"/selectedLayerId", "1", Kind::typeMismatch, "selectedLayerId"},
    {"/layerList/0/layerType", R"("Text")", Kind::dataCorrupted, "layerList[0].layerType"},
    {"/layerList/0/image/type", R"("shareapp")", Kind::dataCorrupted, "layerList[0].image.type"},
    {"/layerList/0/image/resourceAccess/url", "5", Kind::typeMismatch, "layerList[0].image.resourceAccess.url"},
    {"/layerList/0/image/resourceAccess/shareAppId", "{}", Kind::typeMismatch,
     "layerList[0].image.resourceAccess.shareAppId"},
    {"/layerList/0/image/resourceAccess/ingestedId", "false", Kind::typeMismatch,
     "layerList[0].image.resourceAccess.ingestedId"},
    {"/layerList/0/transform/location", R"({"x":0,"y":0})", Kind::typeMismatch, "layerList[0].transform.location"},
    {"/layerList/0/transform/location", "[1]", Kind::valueNotFound, "layerList[0].transform.location[1]"},
    {"/layerList/0/transform/location", "[1,2,3]", Kind::dataCorrupted, "layerList[0].transform.location"},
    {"/layerList/0/transform/location/1", R"("2")", Kind::typeMismatch, "layerList[0].transform.location[1]"},
    {"/layerList/0/transform/location/0", "null", Kind::valueNotFound, "layerList[0].transform.location[0]"},
};

TEST(ComposerJson, DamageInsideNamesItsPlace)
{
    for (const Damage& damage : damages) {
        SCOPED_TRACE(testing::Message() << damage.place << " " << damage.value);
        expectError(changed(damage.place, damage.value), damage.kind, damage.path);
    }
    for (const char* const broken : {"", "{", "[]", "null", R"({"id":"\ud800"})", "{\"id\":\"\xff\"}"})
        EXPECT_THROW((void)decode<ZelComposer>(broken), ZelDecodingError) << broken;
}

/// The keys that are replaced, and by what; the identifier of a guide by a new one.
const struct {
    const char* place;
    Type type;
    const char* fallback;
} lenientKeys[] = {
    {"/layerList/0/text/text", aText, R"("")"},
    {"/layerList/0/text/font", anObject, R"({"name":"Courier","size":12.0})"},
    {"/layerList/0/text/alignment", aCase, R"("left")"},
    {"/layerList/0/text/color", anObject, R"({"red":1.0,"green":1.0,"blue":1.0,"alpha":1.0})"},
    {"/guideList_/0/id", aText, nullptr},
    {"/guideList_/0/orientation", aCase, R"("horizontal")"},
    {"/guideList_/0/location", aNumber, "0.0"},
    {"/guideList_/0/intrinsic", aBoolean, "false"},
};

TEST(ComposerJson, LenientKeysAreReplacedOneByOne)
{
    for (const auto& key : lenientKeys) {
        std::vector<const char*> damage = {nullptr, "null"};
        for (std::size_t type = 0; type < std::size(values); ++type)
            if (type != key.type)
                damage.push_back(values[type]);
        for (const char* const value : damage) {
            SCOPED_TRACE(testing::Message() << key.place << " " << (value == nullptr ? "taken away" : value));
            const auto read = decode<ZelComposer>(changed(key.place, value));
            if (key.fallback != nullptr) {
                EXPECT_EQ(encode(read), changed(key.place, key.fallback));
                continue;
            }
            const std::string id = read.guideList_.at(0).id;
            EXPECT_FALSE(id.empty());
            EXPECT_NE(id, "g");
            EXPECT_EQ(encode(read), changed(key.place, Json(id).dump().c_str()));
        }
    }
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

TEST(ComposerJson, TextAndGuideNeedNothingButAnObject)
{
    const Layer::Text fallback{.text = "", .font = {"Courier", 12}, .alignment = Layer::Text::Alignment::left};
    EXPECT_EQ(decode<Layer::Text>("{}"), fallback);
    EXPECT_EQ(decode<Layer::Text>(R"({"font":{"name":"Serif"},"alignment":"Left","color":{"red":0}})"), fallback);
    const auto guide = decode<ZelComposer::Guide>("{}"), other = decode<ZelComposer::Guide>("{}");
    EXPECT_FALSE(guide.id.empty());
    EXPECT_NE(guide.id, other.id);
    EXPECT_EQ(encode(guide),
              R"({"id":")" + guide.id + R"(","orientation":"horizontal","location":0.0,"intrinsic":false})");
    for (const char* const stored : {"[]", "7", "null", R"("text")"}) {
        EXPECT_THROW((void)decode<ZelComposer::Guide>(stored), ZelDecodingError) << stored;
        EXPECT_THROW((void)decode<Layer::Text>(stored), ZelDecodingError) << stored;
    }
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
