#include "pictures.h"
#include "quantity.h"

#include <zel/operations/rotate.h>

namespace zel::program {
namespace {

constexpr std::string_view examples = R"(Examples:
  zel straighten horizon.jpg -o level.jpg --by 1.8
  zel straighten *.jpg -o level/ --by -0.5
)";

constexpr std::string_view notes =
    R"(Pictures turn clockwise; a number below 0 turns them the other way. They keep their size and are
enlarged as little as it takes to leave no corner empty. zel rotate keeps everything instead, and makes them larger.
)";

int run(const Verb& verb, Words words)
{
    PictureOptions options;
    std::optional<double> by;
    Arguments arguments(verb);
    arguments.section("Turn");
    arguments.value("--by", "DEGREES", by, readAngle, "clockwise");
    options.declare(arguments);
    if (!arguments.parse(words))
        return 0;
    if (!by)
        throw UsageError("no angle", "--by 1.5");
    const auto step = [&](const Ref<ZelImage>& image) { return rotateAndZoom(image, RotateByDegrees{-*by}); };
    return runPictures(verb, options, {[&] { return PictureStep(step); }, {}});
}

} // namespace

const Verb straightenVerb = {
    "straighten", "Slanting pictures made level", "INPUT... -o OUTPUT --by DEGREES [flags]", examples, notes, run,
};

} // namespace zel::program
