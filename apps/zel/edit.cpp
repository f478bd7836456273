#include "batch.h"
#include "edit_plan.h"
#include "inputs.h"
#include "recipe.h"
#include "text.h"

#include <zel/platform/foundation/failure.h>

#include <fmt/format.h>

#include <algorithm>

namespace zel::program {
namespace {

constexpr std::string_view examples = R"(Examples:
  zel edit in.jpg -o out.jpg --resize width=800 --watermark logo.png,position=Center,scale=0.5
  zel edit *.png -o small/ --rotate 90 --resize max-side=1200 --save-recipe small.json
  zel edit -r photos -o web/ --recipe small.json
  zel edit in.jpg --rotate 2.5 --resize 800x600,fit=fill --explain
)";

constexpr std::string_view notes =
    R"(Steps are done in the order written, with one decoding and one encoding; a recipe's steps
stand where --recipe does. What follows a step's flag is its main setting, then others as name=value, parted by commas.
)";

struct EditOptions {
    std::vector<EditStep> steps;
    std::optional<std::string> saveRecipe;
    bool explain = false;
};

/// Takes the steps, in their order, out of the command line; what is left is for the flags that all verbs share.
std::vector<const char*> takeSteps(Words words, std::vector<EditStep>& steps)
{
    constexpr std::string_view recipe = "recipe";
    std::vector<const char*> others;
    for (std::size_t i = 0; i < words.size(); ++i) {
        std::string_view word = words[i];
        if (word == "--") {
            others.insert(others.end(), words.begin() + static_cast<std::ptrdiff_t>(i), words.end());
            break;
        }
        const auto equals = word.find('=');
        const auto name =
            word.starts_with("--") ? word.substr(2, equals == std::string_view::npos ? equals : equals - 2) : "";
        const StepKind* const kind = stepKindNamed(name);
        if (kind == nullptr && name != recipe) {
            others.push_back(words[i]);
            continue;
        }
        std::string_view value;
        if (equals != std::string_view::npos)
            value = word.substr(equals + 1);
        else if (i + 1 == words.size() || std::string_view(words[i + 1]).starts_with("--"))
            throw UsageError(fmt::format("--{} needs a value", name), "zel help edit");
        else
            value = words[++i];
        if (kind != nullptr)
            steps.push_back(makeStep(readStepWords(*kind, value)));
        else
            for (StepWords& step : readRecipe(std::string(value)))
                steps.push_back(makeStep(std::move(step)));
    }
    return others;
}

/// For the help alone: the words themselves have been taken.
void declareSteps(Arguments& arguments, EditOptions& options, std::optional<std::string>& none)
{
    arguments.section("Steps");
    for (const StepKind& kind : stepKinds())
        arguments.text(fmt::format("--{}", kind.name), kind.value, none, kind.help);
    arguments.text("--recipe", "FILE", none, "the steps that a JSON file lists");
    arguments.text("--save-recipe", "FILE", options.saveRecipe, "write the steps to a JSON file");
    arguments.flag("--explain", options.explain, "say what would be done, and do nothing");
}

/// The steps one after another; nothing, noted, where one of them cannot be prepared.
PictureStep prepared(const std::vector<EditStep>& steps)
{
    std::vector<PictureStep> all;
    for (const EditStep& step : steps) {
        all.push_back(step.prepare());
        if (!all.back())
            return nullptr;
    }
    return [all](const Ref<ZelImage>& image) {
        Ref<ZelImage> current = image;
        for (const PictureStep& step : all)
            current = current ? step(current) : nullptr;
        return current;
    };
}

int explain(const Verb& verb, const PictureOptions& options, const std::vector<EditStep>& steps)
{
    options.reports.apply();
    const auto inputs = collectInputs(options.inputs);
    const int together = options.limits.apply(inputs.list.size());
    Reporter reporter(verb.name, options.reports, inputs.list.size());
    std::vector<std::string> plans(inputs.list.size());
    const auto work = [&](std::size_t index, const ZelReport&) {
        const Input& input = inputs.list[index];
        const auto image = openInput(input);
        if (!image || !image->cgImage)
            return failed(input.name, {});
        plans[index] = planText(input.name, image, steps);
        Outcome outcome;
        outcome.state = Outcome::State::planned;
        outcome.input = input.name;
        return outcome;
    };
    runAll(inputs.list.size(), together, work, reporter);
    return reporter.finish([&](const std::vector<Outcome>&) { return fmt::format("{}", fmt::join(plans, "")); });
}

int run(const Verb& verb, Words words)
{
    PictureOptions options;
    EditOptions edit;
    std::optional<std::string> none;
    Arguments arguments(verb);
    declareSteps(arguments, edit, none);
    options.declare(arguments);
    const std::vector<const char*> others = takeSteps(words, edit.steps);
    if (!arguments.parse(others))
        return 0;
    if (edit.steps.empty())
        throw UsageError("no steps", "--resize width=800");
    if (edit.saveRecipe) {
        std::vector<StepWords> recipe;
        for (const EditStep& step : edit.steps)
            recipe.push_back(step.words);
        if (!writeRecipe(*edit.saveRecipe, recipe)) {
            writeError(printable(fmt::format("zel {}: --save-recipe: {}", verb.name, ZelFailure::last().message)));
            return statusOf(ZelFailure::last().code);
        }
        if (options.inputs.words.empty() && !options.inputs.filesFrom)
            return 0;
    }
    if (edit.explain)
        return explain(verb, options, edit.steps);
    std::vector<std::string> files;
    for (const EditStep& step : edit.steps)
        files.insert(files.end(), step.files.begin(), step.files.end());
    return runPictures(verb, options, {[&] { return prepared(edit.steps); }, files});
}

} // namespace

const Verb editVerb = {
    "edit", "Several steps with one decoding and one encoding", "INPUT... -o OUTPUT STEPS [flags]", examples, notes,
    run,
};

} // namespace zel::program
