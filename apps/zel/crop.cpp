#include "cropping.h"
#include "pictures.h"

#include <zel/operations/crop.h>

#include <algorithm>
#include <cmath>

namespace zel::program {
namespace {

constexpr std::string_view examples = R"(Examples:
  zel crop photo.jpg -o part.jpg --rect 100,50,800,600
  zel crop -r photos -o wide/ --aspect 16:9
  zel crop portrait.png -o face.png --aspect 1:1 --zoom 2
  zel crop photo.jpg -o part.jpg --rect 96,48,800,600 --lossless
)";

constexpr std::string_view notes =
    R"(--rect is in pixels from the top-left corner; what hangs over is cut off. --aspect takes
the largest area of that shape from the middle, --zoom a part of it: half as wide and
half as high at 2. Samples, depth and profile stay as they are. --lossless keeps a
JPEG's coded data; the area then begins between its blocks, at multiples of 8 or 16.
)";

/// The whole pixels of a picture that an area touches; none of them where it lies outside.
LosslessChange::Area pixelsWithin(const CGRect& area, CGSize picture)
{
    const double left = std::clamp(std::floor(area.origin.x), 0.0, picture.width);
    const double top = std::clamp(std::floor(area.origin.y), 0.0, picture.height);
    const double right = std::clamp(std::ceil(area.origin.x + area.size.width), left, picture.width);
    const double bottom = std::clamp(std::ceil(area.origin.y + area.size.height), top, picture.height);
    return {static_cast<int>(left), static_cast<int>(top), static_cast<int>(right - left),
            static_cast<int>(bottom - top)};
}

int run(const Verb& verb, Words words)
{
    PictureOptions options;
    CroppingOptions area;
    Arguments arguments(verb);
    area.declare(arguments);
    LosslessOptions lossless;
    lossless.declare(arguments, false);
    options.declare(arguments);
    if (!arguments.parse(words))
        return 0;
    area.check();
    lossless.check(options.encoding);
    const auto step = [&](const Ref<ZelImage>& image) {
        return crop(image, {.toTargetRect = image ? area.areaOf(image->size) : CGRect{}});
    };
    const auto cut = [&](CGSize size) { return LosslessChange{.crop = pixelsWithin(area.areaOf(size), size)}; };
    return runPictures(verb, options,
                       {[&] { return PictureStep(step); }, {}, lossless.wanted ? LosslessStep(cut) : LosslessStep()});
}

} // namespace

const Verb cropVerb = {
    "crop", "A part of each picture", "INPUT... -o OUTPUT [flags]", examples, notes, run,
};

} // namespace zel::program
