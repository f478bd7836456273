#include <zel/platform/foundation/notes.h>
#include <zel/platform/graphics/color_json.h>
#include <zel/support/colors.h>

#include <algorithm>
#include <iterator>

namespace zel {

using ZelImageHelper::ZelColorList;

template <>
struct JsonForm<ZelColorList> {
    static OrderedJson write(const ZelColorList& value, const JsonPath& path)
    {
        return JsonObject(path).field("list", value.list).take();
    }
    static ZelColorList read(const JsonReader& in) { return {in.required<std::vector<ZelColor>>("list")}; }
};

template <>
std::string encode(const ZelColorList& value)
{
    return encodeJson(value);
}
template <>
ZelColorList decode(std::string_view text)
{
    return decodeJson<ZelColorList>(text);
}

namespace ZelImageHelper {

std::string encodeColorList(std::span<const NSColor> colors)
{
    ZelColorList form;
    std::transform(colors.begin(), colors.end(), std::back_inserter(form.list),
                   [](const NSColor& color) { return ZelColor(color); });
    try {
        return encode(form);
    } catch (const ZelEncodingError& error) {
        (void)fail(ZelFailureCode::invalidArgument, "colour list", error.codingPath() + ": " + error.what());
        return {};
    }
}

std::optional<std::vector<NSColor>> decodeColorList(std::string_view text)
{
    try {
        const auto form = decode<ZelColorList>(text);
        std::vector<NSColor> colors;
        std::transform(form.list.begin(), form.list.end(), std::back_inserter(colors),
                       [](const ZelColor& color) { return color.getColor(); });
        return colors;
    } catch (const ZelDecodingError& error) {
        const std::string place = error.codingPath().empty() ? std::string() : error.codingPath() + ": ";
        (void)fail(ZelFailureCode::unreadable, "colour list", place + error.what());
        return std::nullopt;
    }
}

} // namespace ZelImageHelper
} // namespace zel
