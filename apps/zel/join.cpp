#include "inputs.h"
#include "pictures.h"

#include <zel/operations/crop.h>

#include <algorithm>
#include <filesystem>

namespace zel::program {
namespace {

constexpr std::string_view examples = R"(Examples:
  zel join left.jpg right.jpg -o pair.jpg
  zel join 1.png 2.png 3.png -o strip.png --side below
  zel join photo.jpg --with legend.png -o labelled.png --side below --scale min
  zel join -r photos -o labelled/ --with legend.png --side below
)";

constexpr std::string_view notes =
    R"(Pictures are joined one after another into one output, the one of --with last. Where the
output is a folder or a pattern, the picture of --with is joined to each input instead.
The sides that meet are brought to the longer of the two (max) or to the shorter (min).
)";

using Orientation = ZelImage::JoinOrientation;
using Scale = ZelImage::ScaleMode;

struct Joining {
    std::optional<std::string> with;
    std::optional<Orientation> side;
    std::optional<Scale> scale;

    void declare(Arguments& arguments);
    [[nodiscard]] Ref<ZelImage> join(const Ref<ZelImage>& first, const Ref<ZelImage>& second) const
    {
        return zel::join(first, {.with = second,
                                 .orientation = side.value_or(Orientation::horizontal),
                                 .scaleMode = scale.value_or(Scale::max)});
    }
};

void Joining::declare(Arguments& arguments)
{
    arguments.section("Joining");
    arguments.text("--with", "FILE", with, "a picture that is joined last, or to each");
    arguments.value(
        "--side", "SIDE", side,
        [](std::string_view text) {
            return readChoice<Orientation>(text,
                                           {{"right", Orientation::horizontal}, {"below", Orientation::vertical}});
        },
        "where the next picture stands: right (default) or below");
    arguments.value(
        "--scale", "MODE", scale,
        [](std::string_view text) {
            return readChoice<Scale>(text, {{"max", Scale::max}, {"min", Scale::min}});
        },
        "the side that meets is the longer of both, max (default), or the shorter, min");
}

/// Leaves the first input in the options and gives the names of the others, which follow it into one output.
std::vector<std::string> takeFollowing(InputOptions& inputs)
{
    std::vector<std::string> names = inputs.words;
    if (inputs.recursive || inputs.filesFrom) {
        if (std::find(names.begin(), names.end(), Input::standardInput) != names.end())
            throw UsageError("standard input cannot be joined beside folders and lists");
        const Inputs found = collectInputs(inputs);
        names.clear();
        for (const Input& input : found.list)
            names.push_back(input.name);
    }
    if (names.empty())
        throw UsageError("no input");
    inputs = {};
    inputs.words = {names.front()};
    names.erase(names.begin());
    if (std::find(names.begin(), names.end(), Input::standardInput) != names.end())
        throw UsageError("standard input can be the first picture only");
    return names;
}

bool isOneFile(const OutputOptions& outputs)
{
    if (!outputs.output)
        return false;
    std::error_code ignored;
    return !outputs.output->ends_with('/') && outputs.output->find_first_of("{}") == std::string::npos &&
           !std::filesystem::is_directory(*outputs.output, ignored);
}

int run(const Verb& verb, Words words)
{
    PictureOptions options;
    Joining joining;
    Arguments arguments(verb);
    joining.declare(arguments);
    options.declare(arguments);
    if (!arguments.parse(words))
        return 0;

    std::vector<std::string> following;
    if (!joining.with || isOneFile(options.outputs))
        following = takeFollowing(options.inputs);
    if (joining.with)
        following.push_back(*joining.with);
    if (following.empty())
        throw UsageError("one picture has nothing to be joined with", "a second input or --with FILE");

    const auto prepare = [&]() -> PictureStep {
        std::vector<Ref<ZelImage>> others;
        for (const std::string& name : following) {
            others.push_back(makeZelImage(URL::file(name)));
            if (!others.back())
                return nullptr;
        }
        return [&joining, others](const Ref<ZelImage>& image) {
            Ref<ZelImage> joined = image;
            for (const Ref<ZelImage>& other : others)
                joined = joining.join(joined, other);
            return joined;
        };
    };
    return runPictures(verb, options, {prepare, following});
}

} // namespace

const Verb joinVerb = {
    "join", "Pictures side by side, or one below the other", "INPUT... -o OUTPUT [flags]", examples, notes, run,
};

} // namespace zel::program
