#include "text.h"
#include "usage.h"
#include "verb.h"

#include <fmt/format.h>

#include <array>
#include <string>

namespace zel::program {
namespace {

constexpr std::string_view examples = R"(Examples:
  zel help
  zel help resize
)";

std::string overview()
{
    std::string text = "Usage: zel VERB INPUT... -o OUTPUT [flags]\n\n";
    for (const auto* const verb : verbs())
        text += fmt::format("  {:<12}{}\n", verb->name, verb->summary);
    return text + "\nzel help VERB tells more, examples first.\n";
}

int run(const Verb&, Words words)
{
    constexpr std::array askForHelp = {"--help"};
    if (words.empty()) {
        writeOut(overview());
        return 0;
    }
    const auto* const verb = verbNamed(words.front());
    if (verb == nullptr)
        throw UsageError(fmt::format("there is no verb {}", words.front()), "zel help");
    if (verb->run == run || words.size() > 1) {
        writeOut(overview());
        return 0;
    }
    return verb->run(*verb, askForHelp);
}

} // namespace

const Verb helpVerb = {
    "help", "What each verb does, examples first", "[VERB]", examples, {}, run,
};

std::span<const Verb* const> verbs()
{
    // A line each, so that a new verb is one line.
    // clang-format off
    static constexpr std::array all = {
        &exportVerb,
        &resizeVerb,
        &thumbnailVerb,
        &convertVerb,
        &watermarkVerb,
        &cropVerb,
        &tilesVerb,
        &joinVerb,
        &rotateVerb,
        &convolveVerb,
        &straightenVerb,
        &exposeVerb,
        &sharpenVerb,
        &cubeVerb,
        &keyVerb,
        &fillVerb,
        &fillHolesVerb,
        &editVerb,
        &subjectsVerb,
        &maskVerb,
        &renderVerb,
        &averageVerb,
        &colorsVerb,
        &compareVerb,
        &composerVerb,
        &canvasVerb,
        &fetchVerb,
        &uploadVerb,
        &cacheVerb,
        &infoVerb,
        &exifVerb,
        &formatsVerb,
        &versionVerb,
        &helpVerb,
    };
    // clang-format on
    return all;
}

const Verb* verbNamed(std::string_view name)
{
    for (const auto* const verb : verbs())
        if (verb->name == name)
            return verb;
    return nullptr;
}

} // namespace zel::program
