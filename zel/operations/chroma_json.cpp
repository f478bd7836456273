#include <zel/operations/chroma.h>

#include <zel/platform/graphics/color_json.h>

namespace zel {

template <>
struct JsonForm<ZelImage::KeyColor> {
    static OrderedJson write(const ZelImage::KeyColor& value, const JsonPath& path)
    {
        return JsonObject(path).field("color", value.color).field("tolerance", value.tolerance).take();
    }
    static ZelImage::KeyColor read(const JsonReader& in)
    {
        return {.color = in.required<ZelColor>("color"), .tolerance = in.required<double>("tolerance")};
    }
};

template <>
std::string encode(const ZelImage::KeyColor& value)
{
    return encodeJson(value);
}

template <>
ZelImage::KeyColor decode(std::string_view text)
{
    return decodeJson<ZelImage::KeyColor>(text);
}

} // namespace zel
