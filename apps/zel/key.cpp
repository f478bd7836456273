#include "pictures.h"
#include "quantity.h"

#include <zel/operations/chroma.h>

namespace zel::program {
namespace {

constexpr std::string_view examples = R"(Examples:
  zel key studio.jpg -o cut-out.png --color '#20b240' --tolerance 60
  zel key *.png -o clear/ --color white
)";

constexpr std::string_view notes =
    R"(The distance is the root of the squared differences of red, green and blue, each 0 to 255;
442 and more take everything. A pixel goes or stays, edges are not softened. JPEG has no
alpha: write PNG or TIFF.
)";

int run(const Verb& verb, Words words)
{
    PictureOptions options;
    std::optional<ZelColor> color;
    std::optional<double> tolerance;
    Arguments arguments(verb);
    arguments.section("Key");
    arguments.value("--color", "COLOR", color, readColor,
                    "the colour that becomes transparent: '#20b240', white, black");
    arguments.value("--tolerance", "N", tolerance, readTolerance, "the largest distance that goes with it (0.05)");
    options.declare(arguments);
    if (!arguments.parse(words))
        return 0;
    if (!color)
        throw UsageError("no colour", "--color '#20b240'");
    ZelImage::KeyColor keyColor;
    keyColor.color = *color;
    keyColor.tolerance = tolerance.value_or(keyColor.tolerance);
    const PictureStep step = [=](const Ref<ZelImage>& image) { return key(image, {.with = keyColor}); };
    return runPictures(verb, options, {[&] { return step; }, {}});
}

} // namespace

const Verb keyVerb = {
    "key", "A colour made transparent", "INPUT... -o OUTPUT --color COLOR [flags]", examples, notes, run,
};

} // namespace zel::program
