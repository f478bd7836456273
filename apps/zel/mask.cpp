#include "pictures.h"

#include <zel/platform/foundation/failure.h>
#include <zel/platform/foundation/url.h>
#include <zel/support/colors.h>

#include <algorithm>

namespace zel::program {
namespace {

constexpr std::string_view examples = R"(Examples:
  zel mask photo.jpg -o cutout.png --mask mask.png
  zel mask *.jpg -o round/ --format png --mask vignette.png
  zel mask photo.png -o cutout.png --mask logo.png --by alpha
)";

constexpr std::string_view notes =
    R"(White in the mask keeps a pixel, black clears it; with --by alpha its opacity counts in
place of its brightness. The mask is stretched to the picture's size. Colours stay what
they are; formats without transparency lay the result over white.
)";

enum class By { brightness, alpha };

By readBy(std::string_view text)
{
    return readChoice<By>(text, {{"brightness", By::brightness}, {"alpha", By::alpha}});
}

/// The library leaves colours as they were premultiplied before; a file shows its colours divided by the alpha that is
/// stored beside them. They are divided by the former alpha here, so that a picture's colours stay through new alphas.
Ref<ZelImage> withStraightColors(const Ref<ZelImage>& masked, const ZelImageBitmapRGBA& before)
{
    CGImage::Layout layout = masked->cgImage->layout();
    layout.alphaInfo = CGAlphaInfo::first;
    const auto stored = masked->cgImage->bytes();
    const auto former = before.bytes();
    std::vector<std::uint8_t> bytes(stored.begin(), stored.end());
    for (std::size_t i = 0; i + 3 < bytes.size() && i < former.size(); i += 4) {
        const unsigned alpha = former[i];
        for (std::size_t c = i + 1; alpha < 255 && c < i + 4; ++c)
            bytes[c] =
                static_cast<std::uint8_t>(alpha == 0 ? 0 : std::min(255U, (bytes[c] * 255U + alpha / 2) / alpha));
    }
    return makeZelImage(CGImage::make(layout, Data(std::move(bytes)), masked->cgImage->bytesPerRow()));
}

int run(const Verb& verb, Words words)
{
    PictureOptions options;
    std::optional<std::string> file;
    std::optional<By> by;
    Arguments arguments(verb);
    arguments.section("Mask");
    arguments.text("--mask", "FILE", file, "the picture that says what is seen");
    arguments.value("--by", "WHAT", by, readBy, "brightness, or alpha, of the mask (brightness)");
    options.declare(arguments);
    if (!arguments.parse(words))
        return 0;
    if (!file)
        throw UsageError("no mask", "--mask FILE");

    const auto prepare = [&]() -> PictureStep {
        const auto mask = makeZelImage(URL::file(*file));
        if (!mask || mask->cgImage->bytes().empty())
            return nullptr;
        const bool byAlpha = by == By::alpha;
        return [mask, byAlpha](const Ref<ZelImage>& image) -> Ref<ZelImage> {
            if (!image)
                return nullptr;
            const auto masked = byAlpha ? apply(image, {.mask = mask}) : apply(image, {.mask = mask->cgImage});
            return masked == image ? nullptr : withStraightColors(masked, ZelImageBitmapRGBA(image));
        };
    };
    return runPictures(verb, options, {prepare, {*file}});
}

} // namespace

const Verb maskVerb = {
    "mask", "Transparency from another picture", "INPUT... -o OUTPUT --mask FILE [flags]", examples, notes, run,
};

} // namespace zel::program
