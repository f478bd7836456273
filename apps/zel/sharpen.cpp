#include "pictures.h"
#include "quantity.h"

#include <zel/operations/filters.h>

namespace zel::program {
namespace {

constexpr std::string_view examples = R"(Examples:
  zel sharpen photo.jpg -o crisp.jpg --amount 0.6
  zel sharpen -r photos -o crisp/ --amount 0.4
)";

constexpr std::string_view notes =
    R"(Sharpens brightness and leaves colours alone, so that edges get no coloured fringes.
0.4 is a little, 1 is a lot; below 0 softens.
)";

int run(const Verb& verb, Words words)
{
    PictureOptions options;
    std::optional<double> amount;
    Arguments arguments(verb);
    arguments.section("Sharpening");
    arguments.value("--amount", "F", amount, readAmount, "how strongly, from -20 to 20 (0.4)");
    options.declare(arguments);
    if (!arguments.parse(words))
        return 0;
    const auto sharpness = static_cast<float>(amount.value_or(0.4));
    const auto step = [&](const Ref<ZelImage>& image) { return sharpen(image, Sharpness{sharpness}); };
    return runPictures(verb, options, {[&] { return PictureStep(step); }, {}});
}

} // namespace

const Verb sharpenVerb = {
    "sharpen", "Crisper pictures, without fringes", "INPUT... -o OUTPUT [--amount F] [flags]", examples, notes, run,
};

} // namespace zel::program
