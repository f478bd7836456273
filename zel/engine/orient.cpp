#include <zel/engine/orient.h>

#include <zel/engine/fill.h>
#include <zel/engine/orient_kernels.h>
#include <zel/engine/parallel.h>

// Eight orientations from three moves: copy rows, mirror rows, transpose. Reading the rows of the source from the
// bottom up, or writing those of the target so, adds the other five without moving a pixel twice.
namespace zel::engine {
namespace {

constexpr int transposedAtOnce = 16; // rows of the target that share the cache lines of the source

template <class Byte>
BasicPixels<Byte> upsideDown(const BasicPixels<Byte>& pixels)
{
    return {pixels.row(pixels.height - 1), -pixels.stride, pixels.width, pixels.height, pixels.bytesPerPixel};
}

/// The source columns that make the target rows [first, first + count).
ConstPixels columns(const ConstPixels& from, int first, int count)
{
    return from.part(first, 0, count, from.height);
}

void transpose(const ConstPixels& from, const Pixels& to)
{
    parallelFor(
        to.height, to.width,
        [&](int first, int last) { transposePixels(columns(from, first, last - first), to.rows(first, last - first)); },
        transposedAtOnce);
}

void mirror(const ConstPixels& from, const Pixels& to)
{
    parallelFor(to.height, to.width,
                [&](int first, int last) { mirrorRows(from.rows(first, last - first), to.rows(first, last - first)); });
}

/// An orientation as the moves it is made of, in this order.
struct Moves {
    bool transposes, mirrors, flips;
};

constexpr Orientation withoutTransposing[2][2] = {{Orientation::upright, Orientation::flipped},
                                                  {Orientation::mirrored, Orientation::halfTurn}};
constexpr Orientation transposing[2][2] = {{Orientation::transposed, Orientation::counterclockwise},
                                           {Orientation::clockwise, Orientation::transversed}};

Moves movesOf(Orientation orientation)
{
    const bool transposes = swapsSides(orientation);
    for (const bool mirrors : {false, true})
        for (const bool flips : {false, true})
            if ((transposes ? transposing : withoutTransposing)[mirrors][flips] == orientation)
                return {transposes, mirrors, flips};
    return {};
}

} // namespace

Orientation composed(Orientation first, Orientation second)
{
    const Moves before = movesOf(first), after = movesOf(second);
    // To mirror and then transpose is to transpose and then flip.
    const bool mirrors = after.mirrors != (after.transposes ? before.flips : before.mirrors);
    const bool flips = after.flips != (after.transposes ? before.mirrors : before.flips);
    return (before.transposes != after.transposes ? transposing : withoutTransposing)[mirrors][flips];
}

bool orient(const ConstPixels& from, Orientation orientation, const Pixels& to)
{
    const bool swapped = swapsSides(orientation);
    if (from.empty() || to.width != (swapped ? from.height : from.width) ||
        to.height != (swapped ? from.width : from.height) || from.bytesPerPixel != to.bytesPerPixel)
        return false;
    switch (orientation) {
    case Orientation::upright:
        return copy(from, to);
    case Orientation::mirrored:
        mirror(from, to);
        return true;
    case Orientation::halfTurn:
        mirror(upsideDown(from), to);
        return true;
    case Orientation::flipped:
        return copy(upsideDown(from), to);
    case Orientation::transposed:
        transpose(from, to);
        return true;
    case Orientation::clockwise:
        transpose(upsideDown(from), to);
        return true;
    case Orientation::transversed:
        transpose(upsideDown(from), upsideDown(to));
        return true;
    case Orientation::counterclockwise:
        transpose(from, upsideDown(to));
        return true;
    }
    return false;
}

} // namespace zel::engine
