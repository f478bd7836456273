#include "cropping.h"
#include "pictures.h"

#include <zel/operations/crop.h>

namespace zel::program {
namespace {

constexpr std::string_view examples = R"(Examples:
  zel crop photo.jpg -o part.jpg --rect 100,50,800,600
  zel crop -r photos -o wide/ --aspect 16:9
  zel crop portrait.png -o face.png --aspect 1:1 --zoom 2
)";

constexpr std::string_view notes =
    R"(--rect is in pixels from the top-left corner; what hangs over is cut off. --aspect takes
the largest area of that shape from the middle, --zoom a part of it: half as wide and
half as high at 2. Samples, depth and profile stay as they are.
)";

int run(const Verb& verb, Words words)
{
    PictureOptions options;
    CroppingOptions area;
    Arguments arguments(verb);
    area.declare(arguments);
    options.declare(arguments);
    if (!arguments.parse(words))
        return 0;
    area.check();
    const auto step = [&](const Ref<ZelImage>& image) {
        return crop(image, {.toTargetRect = image ? area.areaOf(image->size) : CGRect{}});
    };
    return runPictures(verb, options, {[&] { return PictureStep(step); }, {}});
}

} // namespace

const Verb cropVerb = {
    "crop", "A part of each picture", "INPUT... -o OUTPUT [flags]", examples, notes, run,
};

} // namespace zel::program
