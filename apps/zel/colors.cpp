#include "telling.h"
#include "color_text.h"
#include "pictures.h"
#include "quantity.h"
#include "text.h"
#include "text_output.h"

#include <zel/platform/foundation/guards.h>
#include <zel/platform/foundation/notes.h>
#include <zel/platform/graphics/mean_color.h>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>

namespace zel::program {
namespace {

using Json = nlohmann::ordered_json;

constexpr std::string_view examples = R"(Examples:
  zel colors photo.jpg
  zel colors photo.jpg --grid 16x9 -o swatches.png
  zel colors photo.jpg --grid 4x4 --as json -o photo.json
  zel colors -r photos --grid 8x8 --as png -o swatches/
)";

constexpr std::string_view notes =
    R"(The picture is cut into columns and rows of equal size; each colour is the mean of every
pixel in its part, in sRGB. Text is one line a row, "#rrggbb", with alpha where it is not
opaque; the JSON holds components from 0 to 1; the picture shows a square for each colour,
--swatch 1 makes it one pixel for each.
)";

constexpr CGSize usualGrid{8, 8};
constexpr std::int64_t usualSwatch = 32;
constexpr std::int64_t largestSwatch = 4096;

enum class Form { text, json, picture };

Form readForm(std::string_view text)
{
    return readChoice<Form>(text, {{"text", Form::text}, {"json", Form::json}, {"png", Form::picture}});
}

struct Grid {
    int columns = 0, rows = 0;
    std::vector<std::array<double, 4>> colors; ///< straight, 0...255, row after row
};

/// Absent with the reason noted.
std::optional<Grid> gridOf(const Ref<ZelImage>& image, CGSize size)
{
    if (!image || !image->cgImage)
        return std::nullopt;
    Grid grid{static_cast<int>(size.width), static_cast<int>(size.height), {}};
    grid.colors = meanGrid(*image->cgImage, grid.columns, grid.rows);
    if (grid.colors.empty())
        return std::nullopt;
    for (auto& color : grid.colors)
        for (std::size_t i = 0; i < 3; ++i)
            color[i] = color[3] > 0 ? std::min(255.0, color[i] * 255 / color[3]) : 0.0;
    return grid;
}

std::string textOf(const Grid& grid)
{
    std::string text;
    for (std::size_t i = 0; i < grid.colors.size(); ++i)
        text += colorText(grid.colors[i]) + ((i + 1) % static_cast<std::size_t>(grid.columns) == 0 ? "\n" : " ");
    return text;
}

/// A colour list that the library reads back, beside what says how it lies.
std::string documentOf(const std::string& name, const Grid& grid)
{
    Json document = {{"version", 1}, {"input", name}, {"columns", grid.columns}, {"rows", grid.rows}};
    auto& list = document["list"] = Json::array();
    const auto unit = [](double component) { return std::round(component / 255 * 1e6) / 1e6; };
    for (const auto& color : grid.colors)
        list.push_back(
            {{"red", unit(color[0])}, {"green", unit(color[1])}, {"blue", unit(color[2])}, {"alpha", unit(color[3])}});
    return document.dump(-1, ' ', false, Json::error_handler_t::replace) + '\n';
}

Json factsOf(const Grid& grid)
{
    Json facts = {{"columns", grid.columns}, {"rows", grid.rows}, {"colors", Json::array()}};
    for (const auto& color : grid.colors)
        facts["colors"].push_back(colorText(color));
    return facts;
}

/// A square of `side` pixels for each colour.
Ref<ZelImage> swatches(const Grid& grid, std::int64_t side)
{
    CGImage::Layout layout;
    layout.alphaInfo = CGAlphaInfo::last;
    const CGSize sides{static_cast<CGFloat>(grid.columns * side), static_cast<CGFloat>(grid.rows * side)};
    if (!withinOperationLimits(sides, 4, "swatches"))
        return nullptr;
    layout.width = static_cast<int>(sides.width);
    layout.height = static_cast<int>(sides.height);
    std::vector<std::uint8_t> bytes;
    bytes.reserve(static_cast<std::size_t>(layout.width) * static_cast<std::size_t>(layout.height) * 4);
    bool opaque = true;
    for (std::int64_t y = 0; y < layout.height; ++y)
        for (std::int64_t x = 0; x < layout.width; ++x) {
            const auto color = bytesOf(grid.colors[static_cast<std::size_t>(x / side + y / side * grid.columns)]);
            bytes.insert(bytes.end(), color.begin(), color.end());
            opaque = opaque && color[3] == 255;
        }
    if (opaque)
        layout.alphaInfo = CGAlphaInfo::noneSkipLast;
    return makeZelImage(CGImage::make(layout, Data(std::move(bytes)), static_cast<std::size_t>(layout.width) * 4));
}

struct Options {
    std::optional<CGSize> grid;
    std::optional<Form> form;
    std::optional<std::int64_t> swatch;
    PictureOptions pictures;

    [[nodiscard]] CGSize size() const { return grid.value_or(usualGrid); }

    /// What was asked for, else what the output's name says.
    [[nodiscard]] Form wanted() const
    {
        if (form)
            return *form;
        const std::string name = pictures.outputs.output.value_or("");
        if (formatOfFile(name) || name.ends_with('/') || name.find('{') != std::string::npos)
            return Form::picture;
        return extensionOf(name) == "json" ? Form::json : Form::text;
    }
};

int runPicture(const Verb& verb, Options& options)
{
    if (options.form)
        options.pictures.encoding.format = Format::png;
    const auto step = [&](const Ref<ZelImage>& image) -> Ref<ZelImage> {
        const auto grid = gridOf(image, options.size());
        return grid ? swatches(*grid, options.swatch.value_or(usualSwatch)) : nullptr;
    };
    return runPictures(verb, options.pictures, {[&]() -> PictureStep { return step; }, {}});
}

int runText(const Verb& verb, const Options& options, bool asJson)
{
    const auto& reports = options.pictures.reports;
    const auto& outputs = options.pictures.outputs;
    if (options.swatch)
        throw UsageError("--swatch is for pictures", "--as png");
    if (outputs.inPlace || outputs.force || outputs.skipExisting || outputs.dryRun)
        throw UsageError("--in-place, --force, --skip-existing and --dry-run are for pictures", "--as png");
    reports.apply();
    const TextOutput output{outputs.output};
    const auto inputs = collectInputs(options.pictures.inputs);
    output.check(inputs, reports);
    const int together = options.pictures.limits.apply(inputs.list.size());

    Reporter reporter(verb.name, reports, inputs.list.size());
    const bool isNamed = inputs.list.size() > 1;
    const auto texts = tellAll<std::string>(inputs, together, reports, reporter, [&](const Input& input) {
        const auto grid = gridOf(openInput(input), options.size());
        if (!grid)
            return std::optional<Told<std::string>>();
        const std::string title = isNamed ? printable(input.name) + ":\n" : std::string();
        return std::optional(
            Told<std::string>{asJson ? documentOf(input.name, *grid) : title + textOf(*grid), factsOf(*grid)});
    });
    return output.finish(verb.name, reporter, fmt::format("{}", fmt::join(texts, "")));
}

int run(const Verb& verb, Words words)
{
    Options options;
    const auto readSwatch = [](std::string_view text) { return readWhole(text, 1, largestSwatch); };
    Arguments arguments(verb);
    arguments.section("Colours");
    arguments.value("--grid", "CxR", options.grid, readDimensions, "columns and rows (8x8)");
    arguments.value("--as", "FORM", options.form, readForm, "text, json, png (what the output's name says, else text)");
    arguments.value("--swatch", "N", options.swatch, readSwatch, "pixels a side of each square in the picture (32)");
    options.pictures.inputs.declare(arguments);
    options.pictures.outputs.declare(arguments);
    options.pictures.limits.declare(arguments);
    options.pictures.reports.declare(arguments);
    if (!arguments.parse(words))
        return 0;
    const Form form = options.wanted();
    return form == Form::picture ? runPicture(verb, options) : runText(verb, options, form == Form::json);
}

} // namespace

const Verb colorsVerb = {
    "colors", "A grid of mean colours, as text, JSON or swatches", "INPUT... [-o OUTPUT] [flags]", examples, notes, run,
};

} // namespace zel::program
