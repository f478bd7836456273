#include "zel_lab.h"

#include <zel/engine/affine.h>
#include <zel/engine/convolve.h>
#include <zel/engine/orient.h>

#include <cmath>

namespace zel::lab {
namespace {

const Operation rotate90("m-rotate90", [](const Arguments& arguments) {
    const engine::PixelBuffer from = readPicture(arguments);
    engine::PixelBuffer to(from.pixels().height, from.pixels().width);
    measure([&] {
        if (!engine::orient(from.pixels(), engine::Orientation::clockwise, to.pixels()))
            giveUp("cannot be turned");
    });
    writeResult(arguments, to.pixels());
});

/// Clockwise by 7 degrees about both centres, into ow × oh pixels: a canvas that has grown, or the filled middle.
const Operation rotate("m-rotate", [](const Arguments& arguments) {
    const engine::PixelBuffer from = readPicture(arguments);
    engine::PixelBuffer to(arguments.number("ow"), arguments.number("oh"));
    if (to.empty())
        giveUp("no such size");
    constexpr double angle = 7 * 3.141592653589793 / 180;
    const double c = std::cos(angle), s = std::sin(angle);
    const double x = to.pixels().width / 2.0, y = to.pixels().height / 2.0;
    const engine::AffineMap map{c,  s, from.pixels().width / 2.0 - c * x - s * y,
                                -s, c, from.pixels().height / 2.0 + s * x - c * y};
    measure([&] {
        if (!engine::drawAffine(from.pixels(), to.pixels(), {.map = map, .onto = engine::Onto::replace}))
            giveUp("cannot be turned");
    });
    writeResult(arguments, to.pixels());
});

const Operation convolve("m-convolve", [](const Arguments& arguments) {
    const engine::PixelBuffer from = readPicture(arguments);
    engine::PixelBuffer to(from.pixels().width, from.pixels().height);
    // The others' -1 … 16 … -1 over 8 has no likeness over 3; this is the same work with a stronger effect.
    const engine::Convolution3x3 kernel{{-1, -1, -1, -1, 11, -1, -1, -1, -1}, {}};
    measure([&] {
        if (!engine::convolve(from.pixels(), kernel, to.pixels()))
            giveUp("cannot be convolved");
    });
    writeResult(arguments, to.pixels());
});

} // namespace
} // namespace zel::lab
