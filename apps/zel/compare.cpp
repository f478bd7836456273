#include "batch.h"
#include "encoding.h"
#include "inputs.h"
#include "quantity.h"
#include "table.h"
#include "text.h"

#include <zel/platform/foundation/atomic_write.h>
#include <zel/platform/foundation/notes.h>
#include <zel/platform/graphics/picture_difference.h>
#include <zel/support/colors.h>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <atomic>
#include <cmath>
#include <sys/stat.h>

namespace zel::program {
namespace {

using Json = nlohmann::ordered_json;

constexpr std::string_view examples = R"(Examples:
  zel compare before.png after.png
  zel compare before.png after.png --map difference.png --fail-above 0
  zel compare master.tif copies/*.jpg --tolerance 8 --fail-above 0.5 --json
)";

constexpr std::string_view notes =
    R"(The first picture is compared with each of the others, pixel by pixel as they are drawn:
sRGB, 8 bits, what is clear has no colour. Told are the mean and the largest difference of a
component (0 to 255), the share of pixels that differ, PSNR in decibels (inf where nothing
differs), and how far the grids of mean colours are apart, in percent of black from white.
Pictures of different sizes are an error. The status is 1 where more than --fail-above
percent of a picture's pixels differ.
)";

constexpr CGSize usualGrid{8, 8};
constexpr int largestTolerance = 255;

struct Options {
    std::optional<double> failAbove;
    std::optional<int> tolerance;
    std::optional<CGSize> grid;
    std::optional<std::string> map;
    InputOptions inputs;
    LimitOptions limits;
    ReportOptions reports;
};

double readPercent(std::string_view text)
{
    constexpr double all = 100;
    return readNumber(text, 0, all);
}

int readTolerance(std::string_view text)
{
    return static_cast<int>(readWhole(text, 0, largestTolerance));
}

struct Measured {
    PictureDifference pixels;
    double grid = 0; ///< percent
};

/// Absent with the reason noted.
std::optional<Measured> measure(const Ref<ZelImage>& reference, const Ref<ZelImage>& image, const Options& options)
{
    if (!reference || !image || !reference->cgImage || !image->cgImage)
        return std::nullopt;
    const auto pixels =
        pictureDifference(*reference->cgImage, *image->cgImage,
                          {.tolerance = options.tolerance.value_or(0), .withMap = options.map.has_value()});
    if (!pixels)
        return std::nullopt;
    const ReduceToSize grid{options.grid.value_or(usualGrid)};
    const auto first = colorList(reference, grid), second = colorList(image, grid);
    if (first.empty() || second.empty())
        return std::nullopt;
    return Measured{*pixels, 100 * differencePerc(second, {.to = first})};
}

double rounded(double value)
{
    constexpr double places = 1e6;
    return std::round(value * places) / places;
}

Json jsonOf(const std::string& reference, const Measured& measured, const Options& options)
{
    const auto& pixels = measured.pixels;
    Json json = {{"reference", reference},    {"mean", rounded(pixels.mean)},
                 {"largest", pixels.largest}, {"differing", rounded(100 * pixels.share)},
                 {"psnr", nullptr},           {"grid", rounded(measured.grid)}};
    if (std::isfinite(pixels.psnr))
        json["psnr"] = rounded(pixels.psnr);
    if (options.failAbove)
        json["exceeds"] = 100 * pixels.share > *options.failAbove;
    return json;
}

TableRow rowOf(const std::string& name, const Measured& measured)
{
    const auto& pixels = measured.pixels;
    // A single pixel of millions is not to read as none.
    const double percent = 100 * pixels.share;
    return {fmt::format("{:.3f}", pixels.mean),
            std::to_string(pixels.largest),
            percent > 0 && percent < 0.01 ? std::string("<0.01 %") : fmt::format("{:.2f} %", percent),
            fmt::format("{:.2f}", pixels.psnr),
            fmt::format("{:.3f} %", measured.grid),
            printable(name)};
}

/// Refuses a map that would not be written, or not where it was meant.
Format formatOfMap(const std::string& map, const Inputs& inputs)
{
    const auto format = formatOfFile(map);
    if (!format)
        throw UsageError(fmt::format("--map: no picture is written as {}", map), "--map FILE.png");
    if (inputs.list.size() > 2)
        throw UsageError("--map shows the difference of two pictures, there are more");
    struct stat facts = {};
    if (::stat(map.c_str(), &facts) == 0)
        for (const auto& input : inputs.list)
            if (input.node == facts.st_ino && input.device == facts.st_dev)
                throw UsageError(fmt::format("{}: the output is an input", map));
    return *format;
}

bool writeMap(const std::string& file, Format format, const Ref<const CGImage>& map)
{
    const auto bytes = encodePicture(makeZelImage(map), format, {}, {});
    return bytes && writeAtomically(URL::file(file), bytes->span(), {.createFolders = true});
}

int run(const Verb& verb, Words words)
{
    Options options;
    Arguments arguments(verb);
    arguments.section("Comparison");
    arguments.value("--fail-above", "PERCENT", options.failAbove, readPercent,
                    "status 1 where more pixels than this differ");
    arguments.value("--tolerance", "N", options.tolerance, readTolerance,
                    "a pixel differs where a component is off by more, 0 to 255 (0)");
    arguments.value("--grid", "CxR", options.grid, readDimensions, "columns and rows of the grids of colours (8x8)");
    arguments.text("--map", "FILE", options.map, "a picture of where they differ, the largest difference white");
    options.inputs.declare(arguments);
    options.limits.declare(arguments);
    options.reports.declare(arguments);
    if (!arguments.parse(words))
        return 0;
    options.reports.apply();
    const auto inputs = collectInputs(options.inputs);
    if (inputs.list.size() < 2)
        throw UsageError("two pictures are needed", "zel compare BEFORE AFTER");
    const auto format = options.map ? formatOfMap(*options.map, inputs) : Format::png;
    const std::size_t count = inputs.list.size() - 1;
    const int together = options.limits.apply(count);

    Reporter reporter(verb.name, options.reports, count);
    const auto& first = inputs.list.front();
    const auto reference = openInput(first);
    if (!reference) {
        reporter.ended(0, failed(first.name, {}));
        return reporter.finish();
    }
    std::vector<TableRow> rows(count);
    std::atomic<bool> exceeded = false;
    const auto work = [&](std::size_t index, const ZelReport& report) {
        const auto& name = inputs.list[index + 1].name;
        const auto measured = measure(reference, openInput(inputs.list[index + 1]), options);
        if (!measured)
            return failed(name, {});
        Outcome outcome;
        outcome.input = name;
        if (const auto warning = options.reports.strict ? firstWarning(report) : std::nullopt) {
            outcome.state = Outcome::State::failed;
            outcome.failure = *warning;
            return outcome;
        }
        if (options.map && !writeMap(*options.map, format, measured->pixels.map))
            return failed(name, *options.map);
        if (options.failAbove && 100 * measured->pixels.share > *options.failAbove)
            exceeded = true;
        outcome.output = options.map.value_or("");
        rows[index] = rowOf(name, *measured);
        outcome.facts = std::make_shared<const Json>(jsonOf(first.name, *measured, options));
        return outcome;
    };
    runAll(count, together, work, reporter);
    const TableRow title = {"MEAN", "LARGEST", "DIFFERING", "PSNR", "GRID", "FILE"};
    const int status = reporter.finish([&](const std::vector<Outcome>&) { return tableText(title, rows); });
    return status == 0 && exceeded ? 1 : status;
}

} // namespace

const Verb compareVerb = {
    "compare", "How far pictures are apart", "REFERENCE PICTURE... [flags]", examples, notes, run,
};

} // namespace zel::program
