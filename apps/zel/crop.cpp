#include "pictures.h"
#include "quantity.h"

#include <zel/core/geometry.h>
#include <zel/operations/crop.h>

#include <algorithm>
#include <cmath>

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

struct Area {
    std::optional<CGRect> rect;
    std::optional<double> aspect;
    std::optional<double> zoom;

    void declare(Arguments& arguments);
    void check() const;
    /// In a picture of that size, from the top left.
    [[nodiscard]] CGRect of(CGSize picture) const;
};

void Area::declare(Arguments& arguments)
{
    constexpr double mostZoom = 1e6;
    arguments.section("Area");
    arguments.value("--rect", "X,Y,W,H", rect, readRect, "from the top-left corner, in pixels");
    arguments.value("--aspect", "W:H", aspect, readRatio, "the largest area of that shape, in the middle");
    arguments.value(
        "--zoom", "Z", zoom, [](std::string_view text) { return readNumber(text, 1, mostZoom); },
        "a part of it, so many times smaller (1); without --aspect in the picture's own shape");
}

void Area::check() const
{
    if (rect && (aspect || zoom))
        throw UsageError("--rect says the area; --aspect and --zoom cannot be given as well");
    if (!rect && !aspect && !zoom)
        throw UsageError("no area", "--rect, --aspect or --zoom");
}

CGRect Area::of(CGSize picture) const
{
    if (rect)
        return *rect;
    const CGSize wanted =
        boundToInt(ZelImageHelper::getCroppingSize({.rect = {{0, 0}, picture},
                                                    .ratio = aspect.value_or(picture.width / picture.height),
                                                    .zoom = zoom.value_or(1)}));
    const CGSize size{std::clamp(wanted.width, 1.0, picture.width), std::clamp(wanted.height, 1.0, picture.height)};
    return {{std::floor((picture.width - size.width) / 2), std::floor((picture.height - size.height) / 2)}, size};
}

int run(const Verb& verb, Words words)
{
    PictureOptions options;
    Area area;
    Arguments arguments(verb);
    area.declare(arguments);
    options.declare(arguments);
    if (!arguments.parse(words))
        return 0;
    area.check();
    const auto step = [&](const Ref<ZelImage>& image) {
        return crop(image, {.toTargetRect = image ? area.of(image->size) : CGRect{}});
    };
    return runPictures(verb, options, {[&] { return PictureStep(step); }, {}});
}

} // namespace

const Verb cropVerb = {
    "crop", "A part of each picture", "INPUT... -o OUTPUT [flags]", examples, notes, run,
};

} // namespace zel::program
