#include "marking.h"
#include "sizing.h"

namespace zel::program {
namespace {

constexpr std::string_view examples = R"(Examples:
  zel export photo.jpg -o out.jpg --width 1600 --max-bytes 200k
  zel export photo.jpg -o out.jpg --width 1600 --watermark logo.png \
      --position "Bottom Right" --scale 0.25 --opacity 0.6 --max-bytes 200k
  zel export -r photos -o web/ --max-side 2048 --format jpeg --quality 82
  zel export *.tif -o 'web/{stem}-{width}.{ext}' --format jpeg --dpi 72
)";

constexpr std::string_view notes =
    R"(The picture is brought to its size, marked, and encoded, in this order. --max-bytes
searches for the best quality that fits and never writes more; where even the
lowest quality does not fit, the sides shrink by a tenth as often as it takes.
)";

int run(const Verb& verb, Words words)
{
    PictureOptions options;
    SizingOptions size;
    MarkingOptions mark;
    Arguments arguments(verb);
    size.declare(arguments, false);
    mark.declare(arguments, false);
    options.declare(arguments);
    if (!arguments.parse(words))
        return 0;
    size.check();
    mark.check();

    const auto prepare = [&]() -> PictureStep {
        if (!mark.file)
            return [&](const Ref<ZelImage>& image) { return resized(image, size, SmallPictures::stay); };
        const auto with = mark.load();
        if (!with.with)
            return nullptr;
        return [&size, with](const Ref<ZelImage>& image) {
            return watermark(resized(image, size, SmallPictures::stay), with);
        };
    };
    return runPictures(verb, options, {prepare, mark.files()});
}

} // namespace

const Verb exportVerb = {
    "export",
    "A finished picture: resized, watermarked, within a number of bytes",
    "INPUT... -o OUTPUT [flags]",
    examples,
    notes,
    run,
};

} // namespace zel::program
