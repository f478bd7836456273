#include <zel/operations/watermark.h>

#include <zel/platform/foundation/json_coding.h>

namespace zel {

template <>
struct JsonForm<ZelWatermark::Scale> {
    static OrderedJson write(const ZelWatermark::Scale& value, const JsonPath& path)
    {
        return JsonObject(path)
            .field("policy", value.policy)
            .field("scale", value.scale)
            .field("maxScale", value.maxScale)
            .field("minScale", value.minScale)
            .take();
    }
    static ZelWatermark::Scale read(const JsonReader& in)
    {
        return {.policy = in.required<ZelWatermark::Scale::Policy>("policy"),
                .scale = in.required<double>("scale"),
                .maxScale = in.required<double>("maxScale"),
                .minScale = in.required<double>("minScale")};
    }
};

template <>
struct JsonForm<ZelWatermark> {
    static OrderedJson write(const ZelWatermark& value, const JsonPath& path)
    {
        return JsonObject(path)
            .field("position", value.position)
            .field("scale", value.scale)
            .field("opacity", value.opacity)
            .take();
    }
    static ZelWatermark read(const JsonReader& in)
    {
        return {.position = in.required<ZelWatermark::Position>("position"),
                .scale = in.required<ZelWatermark::Scale>("scale"),
                .opacity = in.required<double>("opacity")};
    }
};

template <>
std::string encode(const ZelWatermark& value)
{
    return encodeJson(value);
}

template <>
ZelWatermark decode(std::string_view text)
{
    return decodeJson<ZelWatermark>(text);
}

template <>
std::string encode(const ZelWatermark::Scale& value)
{
    return encodeJson(value);
}

template <>
ZelWatermark::Scale decode(std::string_view text)
{
    return decodeJson<ZelWatermark::Scale>(text);
}

} // namespace zel
