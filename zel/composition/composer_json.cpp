#include <zel/composition/composer_json.h>

#include <zel/platform/foundation/identifiers.h>
#include <zel/platform/graphics/color_json.h>

// Inner records first, as the outer ones need them.
namespace zel {

using Guide = ZelComposer::Guide;
using Layer = ZelComposer::Layer;
using Image = Layer::Image;
using Shape = Layer::Shape;
using Text = Layer::Text;
using Transform = Layer::Transform;

template <>
struct JsonForm<ZelComposer::SearchAndReplace> {
    static OrderedJson write(const ZelComposer::SearchAndReplace& value, const JsonPath& path)
    {
        return JsonObject(path).field("search", value.search).field("replace", value.replace).take();
    }
    static ZelComposer::SearchAndReplace read(const JsonReader& in)
    {
        auto search = in.required<std::string>("search");
        return {std::move(search), in.required<std::string>("replace")};
    }
};

template <>
struct JsonForm<Guide> {
    static OrderedJson write(const Guide& value, const JsonPath& path)
    {
        return JsonObject(path)
            .field("id", value.id)
            .field("orientation", value.orientation)
            .field("location", value.location)
            .field("intrinsic", value.intrinsic)
            .take();
    }
    static Guide read(const JsonReader& in)
    {
        return {.id = in.lenient<std::string>("id", [] { return ZelId::newId(); }),
                .orientation = in.lenient<Guide::Orientation>("orientation", Guide::Orientation::horizontal),
                .location = in.lenient<double>("location", 0.0),
                .intrinsic = in.lenient<bool>("intrinsic", false)};
    }
};

template <>
struct JsonForm<Image::ResourceAccess> {
    static OrderedJson write(const Image::ResourceAccess& value, const JsonPath& path)
    {
        return JsonObject(path)
            .optionalField("url", value.url)
            .optionalField("shareAppId", value.shareAppId)
            .optionalField("ingestedId", value.ingestedId)
            .take();
    }
    static Image::ResourceAccess read(const JsonReader& in)
    {
        return {.url = in.optional<URL>("url"),
                .shareAppId = in.optional<std::string>("shareAppId"),
                .ingestedId = in.optional<std::string>("ingestedId")};
    }
};

template <>
struct JsonForm<Image> {
    static OrderedJson write(const Image& value, const JsonPath& path)
    {
        return JsonObject(path)
            .field("type", value.type)
            .field("ratio", value.ratio)
            .field("resourceAccess", value.resourceAccess)
            .take();
    }
    static Image read(const JsonReader& in)
    {
        return {.type = in.required<Image::ImageType>("type"),
                .ratio = in.required<double>("ratio"),
                .resourceAccess = in.required<Image::ResourceAccess>("resourceAccess")};
    }
};

template <>
struct JsonForm<Shape::Style> {
    static OrderedJson write(const Shape::Style& value, const JsonPath& path)
    {
        return JsonObject(path)
            .field("strokeWidth", value.strokeWidth)
            .field("fill", value.fill)
            .field("fillStyle", value.fillStyle)
            .field("fillColor", value.fillColor)
            .take();
    }
    static Shape::Style read(const JsonReader& in)
    {
        return {.strokeWidth = in.required<double>("strokeWidth"),
                .fill = in.required<bool>("fill"),
                .fillStyle = in.required<Shape::Style::FillStyle>("fillStyle"),
                .fillColor = in.required<ZelColor>("fillColor")};
    }
};

template <>
struct JsonForm<Shape> {
    static OrderedJson write(const Shape& value, const JsonPath& path)
    {
        return JsonObject(path).field("type", value.type).field("style", value.style).take();
    }
    static Shape read(const JsonReader& in)
    {
        return {.type = in.required<Shape::ShapeType>("type"), .style = in.required<Shape::Style>("style")};
    }
};

template <>
struct JsonForm<Text> {
    static OrderedJson write(const Text& value, const JsonPath& path)
    {
        return JsonObject(path)
            .field("text", value.text)
            .field("font", value.font)
            .field("alignment", value.alignment)
            .field("color", value.color)
            .take();
    }
    static Text read(const JsonReader& in)
    {
        constexpr double smallFont = 12; // not what a new text has
        return {.text = in.lenient<std::string>("text", std::string()),
                .font = in.lenient<ZelFont::Font>("font", ZelFont::Font::courier({.withSize = smallFont})),
                .alignment = in.lenient<Text::Alignment>("alignment", Text::Alignment::left),
                .color = in.lenient<ZelColor>("color", ZelColor::pureWhite)};
    }
};

template <>
struct JsonForm<Transform::Scale> {
    static OrderedJson write(const Transform::Scale& value, const JsonPath& path)
    {
        return JsonObject(path).field("x", value.x).field("y", value.y).take();
    }
    static Transform::Scale read(const JsonReader& in)
    {
        return {.x = in.required<double>("x"), .y = in.required<double>("y")};
    }
};

template <>
struct JsonForm<Transform> {
    static OrderedJson write(const Transform& value, const JsonPath& path)
    {
        return JsonObject(path)
            .field("location", value.location)
            .field("scale", value.scale)
            .field("rotation", value.rotation)
            .field("opacity", value.opacity)
            .take();
    }
    static Transform read(const JsonReader& in)
    {
        return {.location = in.required<CGPoint>("location"),
                .scale = in.required<Transform::Scale>("scale"),
                .rotation = in.required<double>("rotation"),
                .opacity = in.required<double>("opacity")};
    }
};

template <>
struct JsonForm<Layer> {
    static OrderedJson write(const Layer& value, const JsonPath& path)
    {
        return JsonObject(path)
            .field("id", value.id)
            .field("layerType", value.layerType)
            .field("image", value.image)
            .field("shape", value.shape)
            .field("text", value.text)
            .field("transform", value.transform)
            .take();
    }
    static Layer read(const JsonReader& in)
    {
        Layer layer;
        layer.id = in.required<std::string>("id");
        layer.layerType = in.required<Layer::LayerType>("layerType");
        layer.image = in.required<Image>("image");
        layer.shape = in.required<Shape>("shape");
        layer.text = in.required<Text>("text");
        layer.transform = in.required<Transform>("transform");
        return layer;
    }
};

namespace {

JsonObject fieldsBeforeLayers(const ZelComposer& value, const JsonPath& path)
{
    JsonObject object(path);
    object.field("id", value.id).field("name", value.name).field("ratio", value.ratio);
    return object;
}

void addFieldsBehindLayers(JsonObject& object, const ZelComposer& value)
{
    object.field("guideList_", value.guideList_)
        .field("bgColor", value.bgColor)
        .field("shouldBeDeleted", value.shouldBeDeleted)
        .optionalField("selectedLayerId", value.selectedLayerId);
}

} // namespace

OrderedJson JsonForm<ZelComposer>::write(const ZelComposer& value, const JsonPath& path)
{
    JsonObject object = fieldsBeforeLayers(value, path);
    object.field("layerList", value.layerList);
    addFieldsBehindLayers(object, value);
    return object.take();
}

ComposerFrame frameOf(const ZelComposer& composer)
{
    const JsonPath path;
    ComposerFrame frame;
    frame.beforeLayers = jsonText(fieldsBeforeLayers(composer, path).take());
    frame.beforeLayers.pop_back(); // the brace, since the object goes on
    frame.beforeLayers += R"(,"layerList":[)";
    JsonObject behind(path);
    addFieldsBehindLayers(behind, composer);
    frame.behindLayers = "]" + jsonText(behind.take());
    frame.behindLayers[1] = ','; // in place of the brace
    return frame;
}

ZelComposer JsonForm<ZelComposer>::read(const JsonReader& in)
{
    ZelComposer composer;
    composer.id = in.required<std::string>("id");
    composer.name = in.required<std::string>("name");
    composer.ratio = in.required<double>("ratio");
    composer.layerList = in.required<std::vector<Layer>>("layerList");
    composer.guideList_ = in.required<std::vector<Guide>>("guideList_");
    composer.bgColor = in.required<ZelColor>("bgColor");
    composer.shouldBeDeleted = in.required<bool>("shouldBeDeleted");
    composer.selectedLayerId = in.optional<std::string>("selectedLayerId");
    return composer;
}

template <>
std::string encode(const ZelComposer& value)
{
    return encodeJson(value);
}
template <>
ZelComposer decode(std::string_view text)
{
    return decodeJson<ZelComposer>(text);
}
template <>
std::string encode(const ZelComposer::SearchAndReplace& value)
{
    return encodeJson(value);
}
template <>
ZelComposer::SearchAndReplace decode(std::string_view text)
{
    return decodeJson<ZelComposer::SearchAndReplace>(text);
}
template <>
std::string encode(const Guide& value)
{
    return encodeJson(value);
}
template <>
Guide decode(std::string_view text)
{
    return decodeJson<Guide>(text);
}
template <>
std::string encode(const Layer& value)
{
    return encodeJson(value);
}
template <>
Layer decode(std::string_view text)
{
    return decodeJson<Layer>(text);
}
template <>
std::string encode(const Image& value)
{
    return encodeJson(value);
}
template <>
Image decode(std::string_view text)
{
    return decodeJson<Image>(text);
}
template <>
std::string encode(const Image::ResourceAccess& value)
{
    return encodeJson(value);
}
template <>
Image::ResourceAccess decode(std::string_view text)
{
    return decodeJson<Image::ResourceAccess>(text);
}
template <>
std::string encode(const Shape& value)
{
    return encodeJson(value);
}
template <>
Shape decode(std::string_view text)
{
    return decodeJson<Shape>(text);
}
template <>
std::string encode(const Shape::Style& value)
{
    return encodeJson(value);
}
template <>
Shape::Style decode(std::string_view text)
{
    return decodeJson<Shape::Style>(text);
}
template <>
std::string encode(const Text& value)
{
    return encodeJson(value);
}
template <>
Text decode(std::string_view text)
{
    return decodeJson<Text>(text);
}
template <>
std::string encode(const Transform& value)
{
    return encodeJson(value);
}
template <>
Transform decode(std::string_view text)
{
    return decodeJson<Transform>(text);
}
template <>
std::string encode(const Transform::Scale& value)
{
    return encodeJson(value);
}
template <>
Transform::Scale decode(std::string_view text)
{
    return decodeJson<Transform::Scale>(text);
}

} // namespace zel
