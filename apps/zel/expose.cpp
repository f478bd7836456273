#include "pictures.h"
#include "quantity.h"

#include <zel/operations/filters.h>

namespace zel::program {
namespace {

constexpr std::string_view examples = R"(Examples:
  zel expose dark.jpg -o lighter.jpg --ev 0.7
  zel expose *.jpg -o darker/ --ev -1
)";

constexpr std::string_view notes = R"(1 doubles the light, -1 halves it. What passes white stays white.
)";

int run(const Verb& verb, Words words)
{
    PictureOptions options;
    std::optional<double> stops;
    Arguments arguments(verb);
    arguments.section("Exposure");
    arguments.value("--ev", "STOPS", stops, readStops, "from -32 to 32; 0 changes nothing");
    options.declare(arguments);
    if (!arguments.parse(words))
        return 0;
    if (!stops)
        throw UsageError("no exposure", "--ev 0.5");
    // The operation hands back its input where it fails; a file that was not exposed would be no result.
    const auto step = [&](const Ref<ZelImage>& image) -> Ref<ZelImage> {
        const Ref<ZelImage> result = exposure(image, *stops);
        return result == image ? nullptr : result;
    };
    return runPictures(verb, options, {[&] { return PictureStep(step); }, {}});
}

} // namespace

const Verb exposeVerb = {
    "expose", "More light, or less", "INPUT... -o OUTPUT --ev STOPS [flags]", examples, notes, run,
};

} // namespace zel::program
