#include "masking.h"

namespace zel::program {
namespace {

constexpr std::string_view examples = R"(Examples:
  zel mask photo.jpg -o cutout.png --mask mask.png
  zel mask *.jpg -o round/ --format png --mask vignette.png
  zel mask photo.png -o cutout.png --mask logo.png --by alpha
)";

constexpr std::string_view notes =
    R"(White in the mask keeps a pixel, black clears it; with --by alpha its opacity counts in
place of its brightness. The mask is stretched to the picture's size. Colours stay what
they are; formats without transparency lay the result over white.
)";

int run(const Verb& verb, Words words)
{
    PictureOptions options;
    std::optional<std::string> file;
    std::optional<MaskBy> by;
    Arguments arguments(verb);
    arguments.section("Mask");
    arguments.text("--mask", "FILE", file, "the picture that says what is seen");
    arguments.value("--by", "WHAT", by, readMaskBy, "brightness, or alpha, of the mask (brightness)");
    options.declare(arguments);
    if (!arguments.parse(words))
        return 0;
    if (!file)
        throw UsageError("no mask", "--mask FILE");

    const auto prepare = [&] { return maskStep(*file, by.value_or(MaskBy::brightness)); };
    return runPictures(verb, options, {prepare, {*file}});
}

} // namespace

const Verb maskVerb = {
    "mask", "Transparency from another picture", "INPUT... -o OUTPUT --mask FILE [flags]", examples, notes, run,
};

} // namespace zel::program
