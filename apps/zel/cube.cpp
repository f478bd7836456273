#include "grading.h"
#include "pictures.h"

namespace zel::program {
namespace {

constexpr std::string_view examples = R"(Examples:
  zel cube photo.jpg -o graded.jpg --cube film.cube
  zel cube -r photos -o graded/ --cube look.png
)";

constexpr std::string_view notes =
    R"(A cube is a .cube text, a Hald picture, or a picture n wide and n x n high (n from 2 to 129)
whose slices stand below one another: red grows along a row, green down a slice, blue from slice to slice.
)";

int run(const Verb& verb, Words words)
{
    PictureOptions options;
    std::optional<std::string> file;
    Arguments arguments(verb);
    arguments.section("Colours");
    arguments.text("--cube", "FILE", file, "what becomes of each colour");
    options.declare(arguments);
    if (!arguments.parse(words))
        return 0;
    if (!file)
        throw UsageError("no cube", "--cube FILE");
    const auto prepare = [&]() -> PictureStep {
        const auto lut = readLut(*file);
        if (!lut)
            return nullptr;
        return [lut](const Ref<ZelImage>& image) { return apply(image, ApplyLut{*lut}); };
    };
    return runPictures(verb, options, {prepare, {*file}});
}

} // namespace

const Verb cubeVerb = {
    "cube", "Colours through a cube", "INPUT... -o OUTPUT --cube FILE [flags]", examples, notes, run,
};

} // namespace zel::program
