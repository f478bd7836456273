#include <zel/composition/canvas.h>

#include <zel/platform/foundation/identifiers.h>
#include <zel/platform/foundation/json_coding.h>

namespace zel {

template <>
struct JsonForm<ZelCanvas::Size> {
    static OrderedJson write(const ZelCanvas::Size& value, const JsonPath& path)
    {
        return JsonObject(path).field("width", value.width).field("height", value.height).take();
    }
    static ZelCanvas::Size read(const JsonReader& in)
    {
        return {in.required<std::int64_t>("width"), in.required<std::int64_t>("height")};
    }
};

template <>
struct JsonForm<ZelCanvasLayer::Source> {
    static OrderedJson write(const ZelCanvasLayer::Source& value, const JsonPath& path)
    {
        return JsonObject(path)
            .field("identification", value.identification)
            .optionalField("url", value.url)
            .optionalField("shareAppId", value.shareAppId)
            .take();
    }
    static ZelCanvasLayer::Source read(const JsonReader& in)
    {
        return {.identification = in.required<ZelCanvasLayer::Source::Identification>("identification"),
                .url = in.optional<URL>("url"),
                .shareAppId = in.optional<std::string>("shareAppId"),
                .image = nullptr};
    }
};

template <>
struct JsonForm<ZelCanvasLayer::Transform> {
    static OrderedJson write(const ZelCanvasLayer::Transform& value, const JsonPath& path)
    {
        return JsonObject(path)
            .field("anchor", value.anchor)
            .field("position", value.position)
            .field("scale", value.scale)
            .field("opacity", value.opacity)
            .take();
    }
    static ZelCanvasLayer::Transform read(const JsonReader& in)
    {
        return {.anchor = in.required<CGPoint>("anchor"),
                .position = in.required<CGPoint>("position"),
                .scale = in.required<double>("scale"),
                .opacity = in.required<double>("opacity")};
    }
};

template <>
struct JsonForm<ZelCanvasLayer> {
    static OrderedJson write(const ZelCanvasLayer& value, const JsonPath& path)
    {
        return JsonObject(path)
            .field("id", value.id)
            .field("type", value.type)
            .field("source", value.source)
            .field("spatialConforming", value.spatialConforming)
            .field("transform", value.transform)
            .take();
    }
    static ZelCanvasLayer read(const JsonReader& in)
    {
        const ZelCanvasLayer::Fields fresh;
        const auto newId = [] { return ZelId::newId({.prefix = "", .infix = "zelcl", .useCounter = true}); };
        return ZelCanvasLayer(
            {.id = in.lenient<std::string>("id", newId),
             .type = in.lenient<ZelCanvasLayer::LayerType>("type", fresh.type),
             .source = in.lenient<ZelCanvasLayer::Source>("source", fresh.source),
             .spatialConforming = in.lenient<ZelSpatialConforming>("spatialConforming", fresh.spatialConforming),
             .transform = in.lenient<ZelCanvasLayer::Transform>("transform", fresh.transform)});
    }
};

template <>
struct JsonForm<ZelCanvas> {
    static OrderedJson write(const ZelCanvas& value, const JsonPath& path)
    {
        return JsonObject(path).field("size", value.size).field("layerList", value.layerList).take();
    }
    static ZelCanvas read(const JsonReader& in)
    {
        ZelCanvas canvas(in.lenient<ZelCanvas::Size>("size", ZelCanvas::Size(512, 512)));
        canvas.layerList = in.lenient<std::vector<ZelCanvasLayer>>("layerList", std::vector<ZelCanvasLayer>());
        return canvas;
    }
};

template <>
std::string encode(const ZelCanvas& value)
{
    return encodeJson(value);
}
template <>
ZelCanvas decode(std::string_view text)
{
    return decodeJson<ZelCanvas>(text);
}
template <>
std::string encode(const ZelCanvas::Size& value)
{
    return encodeJson(value);
}
template <>
ZelCanvas::Size decode(std::string_view text)
{
    return decodeJson<ZelCanvas::Size>(text);
}
template <>
std::string encode(const ZelCanvasLayer& value)
{
    return encodeJson(value);
}
template <>
ZelCanvasLayer decode(std::string_view text)
{
    return decodeJson<ZelCanvasLayer>(text);
}
template <>
std::string encode(const ZelCanvasLayer::Source& value)
{
    return encodeJson(value);
}
template <>
ZelCanvasLayer::Source decode(std::string_view text)
{
    return decodeJson<ZelCanvasLayer::Source>(text);
}
template <>
std::string encode(const ZelCanvasLayer::Transform& value)
{
    return encodeJson(value);
}
template <>
ZelCanvasLayer::Transform decode(std::string_view text)
{
    return decodeJson<ZelCanvasLayer::Transform>(text);
}

} // namespace zel
