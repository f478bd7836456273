#include "telling.h"
#include "inputs.h"
#include "metadata.h"
#include "text.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace zel::program {
namespace {

using Json = nlohmann::ordered_json;

constexpr std::string_view examples = R"(Examples:
  zel exif photo.jpg
  zel exif --json photo.jpg
  zel exif -r photos --jsonl
)";

constexpr std::string_view notes =
    R"(Everything that a file says of its picture. Positions are degrees without a hemisphere;
"{GPS}" holds the letters of the hemispheres beside them.
)";

Json jsonOf(const PropertyDictionary& properties);

Json jsonOf(const PropertyValue& value)
{
    if (const auto* group = std::get_if<PropertyDictionary>(&value))
        return jsonOf(*group);
    if (const auto* list = std::get_if<std::vector<double>>(&value))
        return *list;
    if (const auto* text = std::get_if<std::string>(&value))
        return *text;
    if (const auto* integer = std::get_if<std::int64_t>(&value))
        return *integer;
    return std::get<double>(value);
}

Json jsonOf(const PropertyDictionary& properties)
{
    Json json = Json::object();
    for (const auto& [name, value] : properties)
        json[name] = jsonOf(value);
    return json;
}

/// One line a value, those of groups behind the group's name.
void list(const PropertyDictionary& properties, const std::string& before, std::string& text)
{
    for (const auto& [name, value] : properties) {
        if (const auto* group = std::get_if<PropertyDictionary>(&value)) {
            list(*group, name + " ", text);
            continue;
        }
        const auto* words = std::get_if<std::string>(&value);
        text += fmt::format("{:<34} {}\n", before + name, printable(words != nullptr ? *words : jsonOf(value).dump()));
    }
}

int run(const Verb& verb, Words words)
{
    InputOptions inputOptions;
    LimitOptions limits;
    ReportOptions reports;
    Arguments arguments(verb);
    inputOptions.declare(arguments);
    limits.declare(arguments);
    reports.declare(arguments);
    if (!arguments.parse(words))
        return 0;
    reports.apply();
    const auto inputs = collectInputs(inputOptions);
    const int together = limits.apply(inputs.list.size());

    Reporter reporter(verb.name, reports, inputs.list.size());
    const bool isNamed = inputs.list.size() > 1;
    const auto texts = tellAll<std::string>(inputs, together, reports, reporter, [&](const Input& input) {
        const auto properties = propertiesOf(input);
        if (!properties)
            return std::optional<Told<std::string>>();
        std::string text = isNamed ? printable(input.name) + ":\n" : std::string();
        list(*properties, {}, text);
        return std::optional(Told<std::string>{std::move(text), Json{{"properties", jsonOf(*properties)}}});
    });
    return reporter.finish([&](const std::vector<Outcome>&) {
        std::string text;
        for (const auto& one : texts)
            text += one;
        return text;
    });
}

} // namespace

const Verb exifVerb = {
    "exif", "Everything that files say of their pictures", "INPUT... [flags]", examples, notes, run,
};

} // namespace zel::program
