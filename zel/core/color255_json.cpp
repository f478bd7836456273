#include <zel/core/bitmap.h>

#include <zel/platform/foundation/json_coding.h>

namespace zel {

template <>
struct JsonForm<ZelColor255> {
    static OrderedJson write(const ZelColor255& value, const JsonPath& path)
    {
        return JsonObject(path).field("r", value.r).field("g", value.g).field("b", value.b).field("a", value.a).take();
    }
    static ZelColor255 read(const JsonReader& in)
    {
        ZelColor255 color;
        color.r = in.required<std::uint8_t>("r");
        color.g = in.required<std::uint8_t>("g");
        color.b = in.required<std::uint8_t>("b");
        color.a = in.required<std::uint8_t>("a");
        return color;
    }
};

template <>
std::string encode(const ZelColor255& color)
{
    return encodeJson(color);
}

template <>
ZelColor255 decode(std::string_view text)
{
    return decodeJson<ZelColor255>(text);
}

} // namespace zel
