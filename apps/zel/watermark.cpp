#include "marking.h"

namespace zel::program {
namespace {

constexpr std::string_view examples = R"(Examples:
  zel watermark photo.jpg -o marked.jpg --watermark logo.png
  zel watermark *.jpg -o marked/ --watermark logo.png --position center --scale 0.5 --opacity 0.3
  zel watermark -r photos -o marked/ --watermark logo.png --settings corner.json
)";

constexpr std::string_view notes = R"(Settings hold the fields of the library's watermark:
  {"position":"Bottom Right","scale":{"policy":"Largest Side Scale","scale":0.25,"maxScale":1,"minScale":0},"opacity":0.6}
The policy "Original Size" keeps the mark's own size, up to maxScale of the picture.
)";

int run(const Verb& verb, Words words)
{
    PictureOptions options;
    MarkingOptions mark;
    Arguments arguments(verb);
    mark.declare(arguments, true);
    options.declare(arguments);
    if (!arguments.parse(words))
        return 0;
    mark.check();
    if (!mark.file)
        throw UsageError("no watermark", "--watermark FILE");

    const auto prepare = [&]() -> PictureStep {
        const auto with = mark.load();
        if (!with.with)
            return nullptr;
        return [with](const Ref<ZelImage>& image) { return watermark(image, with); };
    };
    return runPictures(verb, options, {prepare, mark.files()});
}

} // namespace

const Verb watermarkVerb = {
    "watermark", "A picture drawn over pictures", "INPUT... -o OUTPUT --watermark FILE [flags]", examples, notes, run,
};

} // namespace zel::program
