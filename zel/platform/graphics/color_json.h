#pragma once
#include <zel/platform/foundation/json_coding.h>
#include <zel/platform/graphics/color.h>

// How colours and fonts stand in the records that have them. For sources only.
namespace zel {

template <>
struct JsonForm<ZelColor> {
    static OrderedJson write(const ZelColor& color, const JsonPath& path)
    {
        return JsonObject(path)
            .field("red", color.red)
            .field("green", color.green)
            .field("blue", color.blue)
            .field("alpha", color.alpha)
            .take();
    }
    static ZelColor read(const JsonReader& in)
    {
        const auto red = in.required<double>("red"), green = in.required<double>("green");
        const auto blue = in.required<double>("blue"), alpha = in.required<double>("alpha");
        return {red, green, blue, alpha};
    }
};

template <>
struct JsonForm<ZelFont::Font> {
    static OrderedJson write(const ZelFont::Font& font, const JsonPath& path)
    {
        return JsonObject(path).field("name", font.name).field("size", font.size).take();
    }
    static ZelFont::Font read(const JsonReader& in)
    {
        auto name = in.required<std::string>("name");
        return {std::move(name), in.required<double>("size")};
    }
};

} // namespace zel
