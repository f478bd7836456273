#include "batch.h"
#include "json_inputs.h"
#include "table.h"
#include "text.h"
#include "text_output.h"

#include <zel/composition/composer.h>
#include <zel/platform/foundation/notes.h>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace zel::program {
namespace {

using Json = nlohmann::ordered_json;
using Layer = ZelComposer::Layer;

constexpr std::string_view examples = R"(Examples:
  zel composer check *.json
  zel composer show card.json
  zel composer replace card.json -o anna.json --pair NAME=Anna --pair CITY=Rome
)";

constexpr std::string_view notes =
    R"(check tells whether files are composer documents, and else where and why not; show lists
layers and guides, in widths of the composition from its centre; replace writes a copy with
every occurrence of NAME in every layer's text replaced, whatever the case of its letters.
)";

enum class Action { check, show, replace };

/// What the layer shows: its text, its shape, or where its picture is.
std::string contentOf(const Layer& layer)
{
    switch (layer.layerType) {
    case Layer::LayerType::text:
        return layer.text.text;
    case Layer::LayerType::shape:
        return std::string(rawValue(layer.shape.type));
    case Layer::LayerType::image:
        break;
    }
    const auto& access = layer.image.resourceAccess;
    switch (layer.image.type) {
    case Layer::Image::ImageType::url:
        return access.url ? access.url->absoluteString() : std::string();
    case Layer::Image::ImageType::shareApp:
        return access.shareAppId.value_or("");
    case Layer::Image::ImageType::ingested:
        return access.ingestedId.value_or("");
    }
    return {};
}

Json factsOf(const ZelComposer& composer)
{
    Json facts = {
        {"name", composer.name}, {"ratio", composer.ratio}, {"layers", Json::array()}, {"guides", Json::array()}};
    for (const auto& layer : composer.layerList) {
        const auto& transform = layer.transform;
        facts["layers"].push_back({{"id", layer.id},
                                   {"type", rawValue(layer.layerType)},
                                   {"x", transform.location.x},
                                   {"y", transform.location.y},
                                   {"scaleX", transform.scale.x},
                                   {"scaleY", transform.scale.y},
                                   {"rotation", transform.rotation},
                                   {"opacity", transform.opacity},
                                   {"content", contentOf(layer)}});
    }
    for (const auto& guide : composer.guideList_)
        facts["guides"].push_back(
            {{"id", guide.id}, {"orientation", rawValue(guide.orientation)}, {"location", guide.location}});
    return facts;
}

std::string tablesOf(const ZelComposer& composer)
{
    std::vector<TableRow> layers, guides;
    for (const auto& layer : composer.layerList) {
        const auto& transform = layer.transform;
        layers.push_back({printable(layer.id), std::string(rawValue(layer.layerType)),
                          fmt::format("{}, {}", transform.location.x, transform.location.y),
                          fmt::format("{} x {}", transform.scale.x, transform.scale.y),
                          fmt::format("{}", transform.rotation), fmt::format("{}", transform.opacity),
                          printable(contentOf(layer))});
    }
    for (const auto& guide : composer.guideList_)
        guides.push_back(
            {printable(guide.id), std::string(rawValue(guide.orientation)), fmt::format("{}", guide.location)});
    const std::string between = layers.empty() || guides.empty() ? "" : "\n";
    return tableText({"LAYER", "TYPE", "POSITION", "SCALE", "ROTATION", "OPACITY", "CONTENT"}, layers) + between +
           tableText({"GUIDE", "ORIENTATION", "LOCATION"}, guides);
}

std::string summaryOf(const ZelComposer& composer)
{
    const auto count = [](std::size_t number, std::string_view what) {
        return fmt::format("{} {}{}", number, what, number == 1 ? "" : "s");
    };
    return fmt::format("{}, {}\n", count(composer.layerList.size(), "layer"),
                       count(composer.guideList_.size(), "guide"));
}

std::vector<ZelComposer::SearchAndReplace> readPairs(const std::vector<std::string>& words)
{
    std::vector<ZelComposer::SearchAndReplace> pairs;
    for (const auto& word : words) {
        const auto sign = word.find('=');
        if (sign == std::string::npos || sign == 0)
            throw UsageError(fmt::format("--pair: '{}' is no pair", word), "--pair NAME=Anna");
        pairs.push_back({word.substr(0, sign), word.substr(sign + 1)});
    }
    return pairs;
}

/// Takes the action off the words.
Action takeAction(InputOptions& inputs)
{
    if (inputs.words.empty())
        throw UsageError("no action: check, show or replace", "zel composer check FILE.json");
    const auto word = inputs.words.front();
    inputs.words.erase(inputs.words.begin());
    return readChoice<Action>(word, {{"check", Action::check}, {"show", Action::show}, {"replace", Action::replace}});
}

struct Options {
    InputOptions inputs;
    TextOutput output;
    ReportOptions reports;
    std::vector<std::string> pairs;

    void check(Action action, const Inputs& found) const
    {
        if (action != Action::replace && !pairs.empty())
            throw UsageError("--pair is for replace");
        if (action != Action::replace)
            return;
        if (pairs.empty())
            throw UsageError("nothing to replace", "--pair NAME=Anna");
        if (found.list.size() != 1)
            throw UsageError("replace takes one document");
        if ((reports.json || reports.jsonl) && !output.file)
            throw UsageError("standard output cannot take both the result and JSON", "-o FILE");
    }
};

int run(const Verb& verb, Words words)
{
    Options options;
    Arguments arguments(verb);
    arguments.section("Replacing");
    arguments.texts("--pair", "NAME=TEXT", options.pairs, "what is replaced by what; may come several times");
    options.inputs.declare(arguments);
    options.output.declare(arguments);
    options.reports.declare(arguments);
    if (!arguments.parse(words))
        return 0;
    options.reports.apply();
    const auto action = takeAction(options.inputs);
    const auto pairs = readPairs(options.pairs);
    const auto inputs = collectInputs(options.inputs);
    options.check(action, inputs);
    options.output.check(inputs, options.reports);

    Reporter reporter(verb.name, options.reports, inputs.list.size());
    std::vector<std::string> texts(inputs.list.size());
    const auto work = [&](std::size_t index, const ZelReport&) {
        const auto& input = inputs.list[index];
        const auto composer = decodeInput<ZelComposer>(input, "composer");
        if (!composer)
            return failed(input.name, {});
        if (action == Action::replace)
            texts[index] = encode(composer->composer({.with = pairs})) + '\n';
        else if (action == Action::check)
            texts[index] = printable(input.name) + ": " + summaryOf(*composer);
        else
            texts[index] =
                (inputs.list.size() > 1 ? printable(input.name) + ":\n" : std::string()) + tablesOf(*composer);
        Outcome outcome;
        outcome.input = input.name;
        outcome.facts = std::make_shared<const Json>(factsOf(*composer));
        return outcome;
    };
    runAll(inputs.list.size(), 1, work, reporter);
    return options.output.finish(verb.name, reporter, fmt::format("{}", fmt::join(texts, "")));
}

} // namespace

const Verb composerVerb = {
    "composer",
    "Composer documents checked, listed, their texts replaced",
    "check|show|replace FILE.json... [-o OUTPUT] [flags]",
    examples,
    notes,
    run,
};

} // namespace zel::program
