#include "telling.h"
#include "inputs.h"
#include "metadata.h"
#include "picture_formats.h"
#include "pictures.h"
#include "table.h"
#include "text.h"

#include <zel/platform/codecs/codec.h>
#include <zel/platform/documents/document.h>
#include <zel/platform/graphics/color_space.h>
#include <zel/platform/graphics/mean_color.h>
#include <zel/platform/graphics/pixel_provider.h>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <array>
#include <cmath>

namespace zel::program {
namespace {

using Json = nlohmann::ordered_json;

constexpr std::string_view examples = R"(Examples:
  zel info photo.jpg
  zel info -r photos --jsonl
  zel info --average --json *.png
)";

constexpr std::string_view notes =
    R"(Headers are read only, unless --average asks for pixels. Width and height are those of
the upright picture; the orientation is the number that is stored. Of PDF documents and SVG
drawings the pages count as frames; JSON has the size of each, in points.
)";

/// What is told of one picture.
struct Facts {
    CGSize size; ///< in pixels
    std::string format;
    bool hasAlpha = false;
    int bits = 0;
    std::string profile;
    int orientation = 1;
    CGSize pointSize;
    int frames = 1;
    ShotFacts shot;
    std::optional<std::array<double, 4>> average;
};

/// Absent where it is no encoded picture.
std::optional<Facts> factsOf(const Input& input, const Ref<const ByteSource>& source, bool withAverage)
{
    const auto stated = source ? pictureFacts(source) : std::nullopt;
    if (!stated)
        return std::nullopt;
    Facts facts;
    facts.size = uprightSize(*stated);
    facts.format = stated->format;
    facts.hasAlpha = stated->hasAlpha;
    facts.bits = stated->bits;
    facts.profile = stated->layout.colorSpace ? stated->layout.colorSpace->name() : "sRGB";
    facts.orientation = static_cast<int>(stated->orientation);
    facts.pointSize = uprightPoints(*stated);
    facts.frames = stated->frames;
    facts.shot = shotFactsOf(*source);
    if (!withAverage)
        return facts;
    const auto image = openInput(input);
    if (!image || !image->cgImage || !(facts.average = meanColor(*image->cgImage)))
        return std::nullopt;
    return facts;
}

/// What is told of a document.
struct DocumentFacts {
    std::string format;
    std::vector<CGSize> pages; ///< their sizes in points, as displayed
};

Ref<const ByteSource> sourceOf(const Input& input)
{
    if (input.failure)
        return nullptr; // told when the picture is opened
    return input.bytes ? ByteSource::of(*input.bytes, input.name) : ByteSource::open(URL::file(input.name));
}

std::optional<DocumentFacts> documentFactsOf(const Ref<const ByteSource>& source)
{
    const auto kind = source ? Document::kindOf(*source) : std::nullopt;
    const auto document = kind ? Document::open(source, *kind) : nullptr;
    if (!document)
        return std::nullopt;
    DocumentFacts facts{*kind == Document::Kind::pdf ? "pdf" : "svg", {}};
    for (int page = 0; page < document->pageCount(); ++page)
        facts.pages.push_back(document->pageSize(page).value_or(CGSize{}));
    return facts;
}

double rounded(double value)
{
    constexpr double places = 1000;
    return std::round(value * places) / places;
}

Json jsonOf(const Facts& facts)
{
    Json json = {
        {"width", static_cast<int>(facts.size.width)},
        {"height", static_cast<int>(facts.size.height)},
        {"format", facts.format},
        {"hasAlpha", facts.hasAlpha},
        {"bits", facts.bits},
        {"profile", facts.profile},
        {"orientation", facts.orientation},
        {"pointSize", Json::array({facts.pointSize.width, facts.pointSize.height})},
        {"frames", facts.frames},
    };
    if (!facts.shot.date.empty())
        json["shotDate"] = facts.shot.date;
    if (facts.shot.lat)
        json["coordinates"]["lat"] = *facts.shot.lat;
    if (facts.shot.lon)
        json["coordinates"]["lon"] = *facts.shot.lon;
    if (facts.average) {
        auto& average = json["average"] = Json::array();
        for (const double component : *facts.average)
            average.push_back(rounded(component));
    }
    return json;
}

Json jsonOf(const DocumentFacts& facts)
{
    Json json = {{"format", facts.format}, {"pages", facts.pages.size()}, {"pageSizes", Json::array()}};
    for (const CGSize& size : facts.pages)
        json["pageSizes"].push_back(Json::array({rounded(size.width), rounded(size.height)}));
    return json;
}

TableRow rowOf(const std::string& name, const DocumentFacts& facts, std::size_t columns)
{
    TableRow row(columns, "-");
    row[0] = printable(name);
    row[2] = facts.format;
    if (!facts.pages.empty())
        row[7] = fmt::format("{:.6g} x {:.6g}", facts.pages[0].width, facts.pages[0].height);
    row[8] = std::to_string(facts.pages.size());
    return row;
}

TableRow rowOf(const std::string& name, const Facts& facts)
{
    TableRow row = {printable(name),
                    fmt::format("{:.0f} x {:.0f}", facts.size.width, facts.size.height),
                    facts.format,
                    std::to_string(facts.bits),
                    facts.hasAlpha ? "yes" : "no",
                    printable(facts.profile),
                    std::to_string(facts.orientation),
                    fmt::format("{:.6g} x {:.6g}", facts.pointSize.width, facts.pointSize.height),
                    std::to_string(facts.frames),
                    facts.shot.date.empty() ? "-" : facts.shot.date,
                    facts.shot.lat && facts.shot.lon ? fmt::format("{:.6f} {:.6f}", *facts.shot.lat, *facts.shot.lon)
                                                     : "-"};
    if (facts.average)
        row.push_back(fmt::format("{:.1f} {:.1f} {:.1f} {:.1f}", (*facts.average)[0], (*facts.average)[1],
                                  (*facts.average)[2], (*facts.average)[3]));
    return row;
}

TableRow titleOf(bool withAverage)
{
    TableRow title = {"FILE",        "PIXELS", "FORMAT", "BITS",  "ALPHA",   "PROFILE",
                      "ORIENTATION", "POINTS", "FRAMES", "TAKEN", "POSITION"};
    if (withAverage)
        title.emplace_back("AVERAGE");
    return title;
}

int run(const Verb& verb, Words words)
{
    InputOptions inputOptions;
    LimitOptions limits;
    ReportOptions reports;
    bool withAverage = false;
    Arguments arguments(verb);
    arguments.section("Facts");
    arguments.flag("--average", withAverage, "the mean colour too: red, green, blue, alpha, 0 to 255, of every pixel");
    inputOptions.declare(arguments);
    limits.declare(arguments);
    reports.declare(arguments);
    if (!arguments.parse(words))
        return 0;
    reports.apply();
    const auto inputs = collectInputs(inputOptions);
    const int together = limits.apply(inputs.list.size());

    Reporter reporter(verb.name, reports, inputs.list.size());
    const auto rows = tellAll<TableRow>(inputs, together, reports, reporter, [&](const Input& input) {
        using Answer = std::optional<Told<TableRow>>;
        const auto ofDocument = [&](const Ref<const ByteSource>& source) {
            const auto facts = documentFactsOf(source);
            return facts ? Answer({rowOf(input.name, *facts, titleOf(withAverage).size()), jsonOf(*facts)}) : Answer();
        };
        const auto source = headerOf(input);
        if (source && Document::kindOf(*source)) // content decides, whatever the name
            return ofDocument(sourceOf(input));
        const auto facts = factsOf(input, source, withAverage);
        return facts ? Answer({rowOf(input.name, *facts), jsonOf(*facts)}) : Answer();
    });
    return reporter.finish([&](const std::vector<Outcome>&) { return tableText(titleOf(withAverage), rows); });
}

} // namespace

const Verb infoVerb = {
    "info",
    "What files hold: size, format, depth, profile, orientation, date, position",
    "INPUT... [flags]",
    examples,
    notes,
    run,
};

} // namespace zel::program
