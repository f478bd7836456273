#include "pictures.h"
#include "quantity.h"

#include <zel/platform/graphics/cg_context.h>

#include <cmath>

namespace zel::program {
namespace {

constexpr std::string_view examples = R"(Examples:
  zel convert scan.tif -o scan.png
  zel convert *.png -o jpegs/ --format jpeg --quality 90 --background '#fff'
  zel convert photo.png -o photo.jpg --max-bytes 500k --dpi 300
  zel convert photo.jpg -o print.jpg --dpi 300 --lossless
  zel convert photo.jpg -o photo.heic --quality 50
  zel convert photo.jpg -o photo.avif --max-bytes 300k
)";

constexpr std::string_view notes = R"(Samples, profile and resolution are kept as far as the format holds them: 16 bits
and alpha in PNG and TIFF, alpha in HEIF and AVIF, neither in JPEG, which is laid
over white unless --background says otherwise. --lossless keeps a JPEG byte for
byte, but for the resolution that --dpi asks for.
)";

/// The picture laid over a colour.
Ref<ZelImage> over(const ZelColor& color, const Ref<ZelImage>& image)
{
    const auto& source = image->cgImage;
    const auto context = CGContext::make({.width = source->width(), .height = source->height()});
    std::vector<std::uint8_t> pixel;
    for (const double component : {color.red, color.green, color.blue, color.alpha})
        pixel.push_back(static_cast<std::uint8_t>(std::lround(component * 255)));
    const auto fill =
        CGImage::make({.width = 1, .height = 1, .alphaInfo = CGAlphaInfo::last}, Data(std::move(pixel)), 4);
    if (!context || !fill)
        return nullptr;
    const CGRect all{{0, 0}, {static_cast<double>(source->width()), static_cast<double>(source->height())}};
    context->setInterpolationQuality(CGInterpolationQuality::none);
    context->draw(fill, all);
    context->draw(source, all);
    return makeZelImage(context->makeImage());
}

bool hasAlpha(const ZelImage& image)
{
    const auto alpha = image.cgImage->layout().alphaInfo;
    return alpha != CGAlphaInfo::noneSkipLast && alpha != CGAlphaInfo::noneSkipFirst;
}

int run(const Verb& verb, Words words)
{
    PictureOptions options;
    std::optional<ZelColor> background;
    Arguments arguments(verb);
    arguments.section("Picture");
    arguments.value("--background", "COLOUR", background, readColor,
                    "what is seen behind clear parts: '#fff', '#ffcc00', white");
    LosslessOptions lossless;
    lossless.declare(arguments, false);
    options.declare(arguments);
    if (!arguments.parse(words))
        return 0;
    lossless.check(options.encoding);
    if (lossless.wanted && background)
        throw UsageError("--lossless keeps the picture; --background goes with pictures that are coded anew");
    const auto step = [&](const Ref<ZelImage>& image) {
        return image && background && hasAlpha(*image) ? over(*background, image) : image;
    };
    const auto keep = [](CGSize) { return LosslessChange{}; };
    return runPictures(verb, options,
                       {[&] { return PictureStep(step); }, {}, lossless.wanted ? LosslessStep(keep) : LosslessStep()});
}

} // namespace

const Verb convertVerb = {
    "convert", "Pictures in another format", "INPUT... -o OUTPUT [flags]", examples, notes, run,
};

} // namespace zel::program
