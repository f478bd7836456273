#include "pictures.h"
#include "sizing.h"

namespace zel::program {
namespace {

constexpr std::string_view examples = R"(Examples:
  zel resize photo.jpg -o small.jpg --width 1600
  zel resize photo.jpg -o square.png --size 512x512 --fit fill
  zel resize -r photos -o small/ --max-side 2048 --no-enlarge
  zel resize scan.png --in-place --width 800
  cat photo.jpg | zel resize - -o - --width 640 > small.jpg
)";

constexpr std::string_view notes = R"(--max-side and --min-side never enlarge. --width, --height and --size do, unless
--no-enlarge is given.
)";

int run(const Verb& verb, Words words)
{
    PictureOptions options;
    SizingOptions size;
    Arguments arguments(verb);
    size.declare(arguments, true);
    options.declare(arguments);
    if (!arguments.parse(words))
        return 0;
    size.check();
    if (!size.isGiven())
        throw UsageError("no size", "--width, --height, --size, --max-side or --min-side");
    const auto step = [&](const Ref<ZelImage>& image) { return resized(image, size, SmallPictures::stay); };
    return runPictures(verb, options, {[&] { return PictureStep(step); }, {}});
}

} // namespace

const Verb resizeVerb = {
    "resize", "Pictures in another size", "INPUT... -o OUTPUT [flags]", examples, notes, run,
};

} // namespace zel::program
