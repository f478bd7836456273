#include "zel_lab.h"

#include <zel/engine/cube.h>
#include <zel/engine/sharpen.h>
#include <zel/engine/tone.h>
#include <zel/operations/cube_text.h>
#include <zel/platform/filters/color_cube.h>
#include <zel/platform/filters/exposure_table.h>

namespace zel::lab {
namespace {

/// The memory of the result is used again from run to run.
template <class Run>
void measureFilter(const Arguments& arguments, const Run& run)
{
    const engine::PixelBuffer from = readPicture(arguments);
    engine::PixelBuffer to(from.pixels().width, from.pixels().height);
    measure([&] {
        if (!run(from.pixels(), to.pixels()))
            giveUp("cannot be filtered");
    });
    writeResult(arguments, to.pixels());
}

const Operation exposure("m-exposure", [](const Arguments& arguments) {
    measureFilter(arguments, [](const engine::ConstPixels& from, const engine::Pixels& to) {
        return engine::applyTone(from, exposureTable(0.5), to);
    });
});

const Operation sharpen("m-sharpen", [](const Arguments& arguments) {
    const bool opaque = arguments.number("alpha") == 0;
    measureFilter(arguments, [&](const engine::ConstPixels& from, const engine::Pixels& to) {
        return engine::sharpenLuma(from, to, {.sigma = 1, .amount = 1}, opaque);
    });
});

const Operation cube("m-cube", [](const Arguments& arguments) {
    const auto table = makeColorCube(readCubeText(readFile(arguments.text("cube"))));
    if (!table)
        giveUp("no cube in cube=FILE");
    measureFilter(arguments, [&](const engine::ConstPixels& from, const engine::Pixels& to) {
        return engine::applyCube(from, *table, to);
    });
});

} // namespace
} // namespace zel::lab
