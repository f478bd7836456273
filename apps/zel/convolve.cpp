#include "pictures.h"
#include "quantity.h"

#include <zel/operations/convolution.h>

namespace zel::program {
namespace {

constexpr std::string_view examples = R"(Examples:
  zel convolve photo.jpg -o sharper.jpg --kernel '0 -3 0 -3 15 -3 0 -3 0'
  zel convolve photo.jpg -o edges.png --kernel '-1 -1 -1 -1 8 -1 -1 -1 -1'
  zel convolve scan.png -o blurred.png --kernel '0 0 0 1 1 1 0 0 0'
)";

constexpr std::string_view notes = R"(The kernel's 9 whole numbers lie on a pixel and its neighbours, row by row; what
they sum up to is divided by 3, whatever the kernel. Beyond the edges everything is 0. Results are opaque, 8 bits.
)";

int run(const Verb& verb, Words words)
{
    PictureOptions options;
    std::optional<std::vector<std::int16_t>> kernel;
    Arguments arguments(verb);
    arguments.section("Kernel");
    arguments.value("--kernel", "'9 NUMBERS'", kernel, readKernel, "from -32768 to 32767, row by row");
    options.declare(arguments);
    if (!arguments.parse(words))
        return 0;
    if (!kernel)
        throw UsageError("no kernel", "--kernel '0 -3 0 -3 15 -3 0 -3 0'");
    const auto step = [&](const Ref<ZelImage>& image) { return convolve(image, ConvolutionKernel{*kernel}); };
    return runPictures(verb, options, {[&] { return PictureStep(step); }, {}});
}

} // namespace

const Verb convolveVerb = {
    "convolve", "A kernel of 3 by 3 over pictures", "INPUT... -o OUTPUT --kernel '9 NUMBERS' [flags]", examples, notes,
    run,
};

} // namespace zel::program
