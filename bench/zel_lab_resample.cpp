#include "zel_lab.h"

#include <zel/engine/resample.h>

namespace zel::lab {
namespace {

engine::Kernel kernelOf(const std::string& how)
{
    if (how == "nearest")
        return engine::Kernel::nearest;
    if (how == "triangle")
        return engine::Kernel::triangle;
    if (how == "lanczos")
        return engine::Kernel::lanczos3;
    giveUp("how=nearest, triangle, lanczos, not " + how);
}

/// The result's memory is used again from run to run, as a program that resizes many pictures would.
const Operation resize("m-resize", [](const Arguments& arguments) {
    const engine::PixelBuffer from = readPicture(arguments);
    engine::PixelBuffer to(arguments.number("ow"), arguments.number("oh"));
    const engine::Kernel kernel = kernelOf(arguments.text("how", "lanczos"));
    measure([&] {
        if (!engine::resample(from.pixels(), to.pixels(), kernel))
            giveUp("no such size");
    });
    writeResult(arguments, to.pixels());
});

/// A fresh buffer for every result.
const Operation resizeFresh("m-resize-fresh", [](const Arguments& arguments) {
    const engine::PixelBuffer from = readPicture(arguments);
    const engine::Kernel kernel = kernelOf(arguments.text("how", "lanczos"));
    engine::PixelBuffer to;
    measure([&] {
        to = engine::PixelBuffer(arguments.number("ow"), arguments.number("oh"));
        if (!engine::resample(from.pixels(), to.pixels(), kernel))
            giveUp("no such size");
    });
    writeResult(arguments, to.pixels());
});

const Operation mean("m-average", [](const Arguments& arguments) {
    const engine::PixelBuffer from = readPicture(arguments);
    engine::PixelBuffer to(arguments.number("ow", 1), arguments.number("oh", 1));
    measure([&] {
        if (!engine::areaMean(from.pixels(), to.pixels()))
            giveUp("no such size");
    });
    writeResult(arguments, to.pixels());
});

} // namespace
} // namespace zel::lab
