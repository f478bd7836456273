#include "pictures.h"
#include "quantity.h"

#include <zel/operations/rotate.h>

#include <cmath>

namespace zel::program {
namespace {

constexpr std::string_view examples = R"(Examples:
  zel rotate photo.jpg -o turned.jpg --by 90
  zel rotate *.jpg -o turned/ --by 180
  zel rotate scan.png -o level.png --by -1.5
  zel rotate photo.jpg -o turned.jpg --by 90 --lossless
)";

constexpr std::string_view notes =
    R"(Pictures turn clockwise; a number below 0 turns them the other way. Quarter turns move
the samples as they are, in the picture's own depth and colours. Any other angle makes the picture larger, so that its
corners fit; what is left around it is clear, and white in a JPEG.
--lossless turns a JPEG's coded data as they are; sides that come first must be multiples of its
blocks, of 8 or 16 pixels, unless --trim gives up what is left over.
)";

int run(const Verb& verb, Words words)
{
    PictureOptions options;
    std::optional<double> by;
    Arguments arguments(verb);
    arguments.section("Turn");
    arguments.value("--by", "DEGREES", by, readAngle, "clockwise: 90, 180, 270, or any other number");
    LosslessOptions lossless;
    lossless.declare(arguments, true);
    options.declare(arguments);
    if (!arguments.parse(words))
        return 0;
    if (!by)
        throw UsageError("no angle", "--by 90");
    lossless.check(options.encoding);
    constexpr double quarter = 90;
    if (lossless.wanted && std::fmod(*by, quarter) != 0)
        throw UsageError("--lossless turns by 90, 180 or 270 degrees alone");
    const auto step = [&](const Ref<ZelImage>& image) { return rotate(image, RotateDegrees{-*by}); };
    const auto turn = [&](CGSize) {
        constexpr double whole = 360;
        return LosslessChange{.turn = static_cast<int>(std::fmod(*by, whole)), .trim = lossless.trim};
    };
    return runPictures(verb, options,
                       {[&] { return PictureStep(step); }, {}, lossless.wanted ? LosslessStep(turn) : LosslessStep()});
}

} // namespace

const Verb rotateVerb = {
    "rotate", "Pictures turned clockwise", "INPUT... -o OUTPUT --by DEGREES [flags]", examples, notes, run,
};

} // namespace zel::program
