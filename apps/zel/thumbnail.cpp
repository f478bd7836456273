#include "pictures.h"
#include "sizing.h"

namespace zel::program {
namespace {

constexpr std::int64_t defaultSide = 256;

constexpr std::string_view examples = R"(Examples:
  zel thumbnail photo.jpg -o thumb.jpg
  zel thumbnail -r photos -o thumbs/ --max-side 200 --quality 80
  zel thumbnail *.jpg -o 'thumbs/{n:04}-{stem}.png' --format png --no-enlarge
)";

constexpr std::string_view notes = R"(Without a size the longer side gets 256 pixels. Smaller pictures grow, unless
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
        size.maxSide = defaultSide;
    const auto step = [&](const Ref<ZelImage>& image) { return resized(image, size, SmallPictures::grow); };
    return runPictures(verb, options, {[&] { return PictureStep(step); }, {}});
}

} // namespace

const Verb thumbnailVerb = {
    "thumbnail", "Small pictures for lists and galleries", "INPUT... -o OUTPUT [flags]", examples, notes, run,
};

} // namespace zel::program
