#include "pictures.h"
#include "quantity.h"

#include <zel/operations/chroma.h>

namespace zel::program {
namespace {

constexpr std::string_view fillExamples = R"(Examples:
  zel fill icon.png -o white-icon.png --color white
  zel fill -r icons -o tinted/ --color '#335577'
)";

constexpr std::string_view fillNotes = R"(Alpha stays: the shape of the picture in one colour.
)";

constexpr std::string_view holeExamples = R"(Examples:
  zel fill-holes sticker.png -o solid.png --color white
)";

constexpr std::string_view holeNotes =
    R"(Holes are transparent regions (alpha below 10) that do not reach the edge of the picture.
They become opaque; everything else stays.
)";

using Operation = Ref<ZelImage> (*)(const Ref<ZelImage>&, FillWith);

/// `fill` gives the picture itself where it cannot fill it, which is no success here.
Ref<ZelImage> filled(const Ref<ZelImage>& image, FillWith color)
{
    const Ref<ZelImage> result = fill(image, color);
    return result == image ? nullptr : result;
}

int runWith(const Verb& verb, Words words, Operation operation)
{
    PictureOptions options;
    std::optional<ZelColor> color;
    Arguments arguments(verb);
    arguments.section("Fill");
    arguments.value("--color", "COLOR", color, readColor, "'#335577', white, black");
    options.declare(arguments);
    if (!arguments.parse(words))
        return 0;
    if (!color)
        throw UsageError("no colour", "--color '#335577'");
    const FillWith with{.with = *color};
    const PictureStep step = [=](const Ref<ZelImage>& image) { return operation(image, with); };
    return runPictures(verb, options, {[&] { return step; }, {}});
}

int runFill(const Verb& verb, Words words)
{
    return runWith(verb, words, filled);
}

int runFillHoles(const Verb& verb, Words words)
{
    return runWith(verb, words, [](const Ref<ZelImage>& image, FillWith color) { return fillHoles(image, color); });
}

} // namespace

const Verb fillVerb = {
    "fill",  "One colour everywhere, alpha kept", "INPUT... -o OUTPUT --color COLOR [flags]", fillExamples, fillNotes,
    runFill,
};

const Verb fillHolesVerb = {
    "fill-holes",
    "Transparent holes filled with a colour",
    "INPUT... -o OUTPUT --color COLOR [flags]",
    holeExamples,
    holeNotes,
    runFillHoles,
};

} // namespace zel::program
