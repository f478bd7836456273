#include "telling.h"
#include "color_text.h"
#include "inputs.h"
#include "table.h"
#include "text.h"
#include "text_output.h"

#include <zel/platform/graphics/mean_color.h>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <cmath>

namespace zel::program {
namespace {

using Json = nlohmann::ordered_json;

constexpr std::string_view examples = R"(Examples:
  zel average photo.jpg
  zel average *.jpg --jsonl
  zel average -r photos -o averages.txt
)";

constexpr std::string_view notes =
    R"(Over every pixel, in sRGB: red, green, blue, alpha, 0 to 255. Clear pixels count for
nothing in the colour, half-transparent ones for half.
)";

Json jsonOf(const std::array<double, 4>& average)
{
    Json json = {{"color", colorText(average)}};
    for (const double component : average)
        json["average"].push_back(std::round(component * 1000) / 1000);
    return json;
}

TableRow rowOf(const std::string& name, const std::array<double, 4>& average)
{
    TableRow row = {colorText(average)};
    for (const double component : average)
        row.push_back(fmt::format("{:.2f}", component));
    row.push_back(printable(name));
    return row;
}

int run(const Verb& verb, Words words)
{
    InputOptions inputOptions;
    TextOutput output;
    LimitOptions limits;
    ReportOptions reports;
    Arguments arguments(verb);
    inputOptions.declare(arguments);
    output.declare(arguments);
    limits.declare(arguments);
    reports.declare(arguments);
    if (!arguments.parse(words))
        return 0;
    reports.apply();
    const auto inputs = collectInputs(inputOptions);
    output.check(inputs, reports);
    const int together = limits.apply(inputs.list.size());

    Reporter reporter(verb.name, reports, inputs.list.size());
    const auto rows = tellAll<TableRow>(inputs, together, reports, reporter, [](const Input& input) {
        const auto image = openInput(input);
        const auto average = image && image->cgImage ? meanColor(*image->cgImage) : std::nullopt;
        return average ? std::optional(Told<TableRow>{rowOf(input.name, *average), jsonOf(*average)}) : std::nullopt;
    });
    return output.finish(verb.name, reporter, tableText({"COLOR", "RED", "GREEN", "BLUE", "ALPHA", "FILE"}, rows));
}

} // namespace

const Verb averageVerb = {
    "average", "The mean colour of every pixel", "INPUT... [flags]", examples, notes, run,
};

} // namespace zel::program
