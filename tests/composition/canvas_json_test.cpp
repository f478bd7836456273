#include <zel/composition/canvas.h>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace zel {
namespace {

using Kind = ZelDecodingError::Kind;
using Json = nlohmann::ordered_json;

constexpr const char* document =
    R"({"size":{"width":30,"height":20},"layerList":[{"id":"l","type":"Image","source":)"
    R"({"identification":"shareAppId","url":"file:///a%20b.png","shareAppId":"s"},"spatialConforming":"Fit",)"
    R"("transform":{"anchor":[0.0,1.0],"position":[0.25,-0.75],"scale":1.5,"opacity":0.5}}]})";

constexpr const char* freshSource = R"({"identification":"url"})";
constexpr const char* freshTransform = R"({"anchor":[0.5,0.5],"position":[0.5,0.5],"scale":1.0,"opacity":1.0})";

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

template <class Record>
void expectRoundTrip(const char* place)
{
    SCOPED_TRACE(place);
    const std::string stored = Json::parse(document).at(Json::json_pointer(place)).dump();
    EXPECT_EQ(encode(decode<Record>(stored)), stored);
}

TEST(CanvasJson, EveryRecordGoesThereAndBack)
{
    expectRoundTrip<ZelCanvas>("");
    expectRoundTrip<ZelCanvas::Size>("/size");
    expectRoundTrip<ZelCanvasLayer>("/layerList/0");
    expectRoundTrip<ZelCanvasLayer::Source>("/layerList/0/source");
    expectRoundTrip<ZelCanvasLayer::Transform>("/layerList/0/transform");
}

struct Row {
    const char* place;
    std::vector<const char*> values; ///< besides nothing and null
    const char* replaced;            ///< what gets the fallback; null: the key itself
    const char* fallback;
};

const Row rows[] = {
    {"/size",
     {"0", "[30,20]", R"("30x20")", "{}", R"({"width":30})", R"({"width":30,"height":"20"})"},
     nullptr,
     R"({"width":512,"height":512})"},
    {"/size/width", {"1.5", "true", R"("30")", "1e300", "[]"}, "/size", R"({"width":512,"height":512})"},
    {"/size/height", {"-0.5", "false", "{}", "9223372036854775808"}, "/size", R"({"width":512,"height":512})"},
    {"/layerList", {"0", "{}", R"("layers")", "[7]", "[{},[]]", "[null]"}, nullptr, "[]"},
    {"/layerList/0/type", {"0", "true", "{}", R"("image")", R"("Video")"}, nullptr, R"("Image")"},
    {"/layerList/0/source", {"0", "[]", R"("url")", "{}"}, nullptr, freshSource},
    {"/layerList/0/source/identification", {"0", R"("Url")", R"("nowhere")", "[]"}, "/layerList/0/source", freshSource},
    {"/layerList/0/spatialConforming", {"1", "false", "[]", R"("fit")", R"("Stretch")"}, nullptr, R"("Fill")"},
    {"/layerList/0/transform", {"0", "[]", R"("none")", "{}"}, nullptr, freshTransform},
    {"/layerList/0/transform/anchor", {"0", "[]", "[0]", R"(["0",0])", "{}"}, "/layerList/0/transform", freshTransform},
    {"/layerList/0/transform/position", {"true", "[1]", "[null,1]"}, "/layerList/0/transform", freshTransform},
    {"/layerList/0/transform/scale", {R"("1")", "true", "[1]"}, "/layerList/0/transform", freshTransform},
    {"/layerList/0/transform/opacity", {R"("1")", "false", "{}"}, "/layerList/0/transform", freshTransform},
};

TEST(CanvasJson, WhatCannotBeReadIsReplacedWhole)
{
    for (const Row& row : rows) {
        std::vector<const char*> values = row.values;
        values.insert(values.end(), {nullptr, "null"});
        for (const char* const value : values) {
            SCOPED_TRACE(testing::Message() << row.place << " " << (value == nullptr ? "taken away" : value));
            const auto canvas = decode<ZelCanvas>(changed(row.place, value));
            EXPECT_EQ(encode(canvas), changed(row.replaced == nullptr ? row.place : row.replaced, row.fallback));
            EXPECT_EQ(canvas.image->size, canvas.size.cg());
        }
    }
}

TEST(CanvasJson, AddressesAreOptionalButRightOrTheSourceIsReplaced)
{
    for (const char* const place : {"/layerList/0/source/url", "/layerList/0/source/shareAppId"}) {
        SCOPED_TRACE(place);
        EXPECT_EQ(encode(decode<ZelCanvas>(changed(place, nullptr))), changed(place, nullptr));
        EXPECT_EQ(encode(decode<ZelCanvas>(changed(place, "null"))), changed(place, nullptr));
        EXPECT_EQ(encode(decode<ZelCanvas>(changed(place, "5"))), changed("/layerList/0/source", freshSource));
    }
}

TEST(CanvasJson, LayersWithoutAnIdentifierGetOneEach)
{
    for (const char* const value : {static_cast<const char*>(nullptr), "null", "7", "{}"}) {
        const std::string text = changed("/layerList/0/id", value);
        const auto one = decode<ZelCanvas>(text), other = decode<ZelCanvas>(text);
        EXPECT_FALSE(one.layerList.at(0).id.empty());
        EXPECT_NE(one.layerList.at(0).id, other.layerList.at(0).id);
        EXPECT_EQ(encode(one), changed("/layerList/0/id", Json(one.layerList[0].id).dump().c_str()));
    }
}

template <class Record>
void expectError(const char* text, Kind kind, const char* path)
{
    SCOPED_TRACE(text);
    try {
        (void)decode<Record>(text);
        ADD_FAILURE() << "read";
    } catch (const ZelDecodingError& error) {
        EXPECT_EQ(error.kind(), kind) << error.what();
        EXPECT_EQ(error.codingPath(), path);
    }
}

TEST(CanvasJson, StrictRecordsNameWhatIsWrong)
{
    for (const char* const text : {"[]", "7", "null", R"("canvas")"}) {
        expectError<ZelCanvas>(text, Kind::typeMismatch, "");
        expectError<ZelCanvasLayer>(text, Kind::typeMismatch, "");
    }
    expectError<ZelCanvas>("{", Kind::dataCorrupted, "");
    expectError<ZelCanvas::Size>(R"({"width":1})", Kind::keyNotFound, "height");
    expectError<ZelCanvas::Size>(R"({"height":1})", Kind::keyNotFound, "width");
    expectError<ZelCanvas::Size>(R"({"width":null,"height":1})", Kind::valueNotFound, "width");
    expectError<ZelCanvas::Size>(R"({"width":1,"height":1.5})", Kind::typeMismatch, "height");
    expectError<ZelCanvas::Size>(R"({"width":1e300,"height":1})", Kind::dataCorrupted, "width");
    expectError<ZelCanvasLayer::Source>("{}", Kind::keyNotFound, "identification");
    expectError<ZelCanvasLayer::Source>(R"({"identification":null})", Kind::valueNotFound, "identification");
    expectError<ZelCanvasLayer::Source>(R"({"identification":1})", Kind::typeMismatch, "identification");
    expectError<ZelCanvasLayer::Source>(R"({"identification":"Url"})", Kind::dataCorrupted, "identification");
    expectError<ZelCanvasLayer::Source>(R"({"identification":"url","url":1})", Kind::typeMismatch, "url");
    expectError<ZelCanvasLayer::Source>(R"({"identification":"url","shareAppId":[]})", Kind::typeMismatch,
                                        "shareAppId");
    Json transform = Json::parse(freshTransform);
    for (const char* const key : {"anchor", "position", "scale", "opacity"}) {
        Json without = transform, withNull = transform, mistyped = transform;
        without.erase(key);
        withNull[key] = nullptr;
        mistyped[key] = "1";
        expectError<ZelCanvasLayer::Transform>(without.dump().c_str(), Kind::keyNotFound, key);
        expectError<ZelCanvasLayer::Transform>(withNull.dump().c_str(), Kind::valueNotFound, key);
        expectError<ZelCanvasLayer::Transform>(mistyped.dump().c_str(), Kind::typeMismatch, key);
    }
    transform["position"] = {1};
    expectError<ZelCanvasLayer::Transform>(transform.dump().c_str(), Kind::valueNotFound, "position[1]");
}

} // namespace
} // namespace zel
