#include <zel/platform/codecs/jpeg_turn.h>

#include <utility>

namespace zel {

JpegTurn turnOf(Orientation orientation)
{
    switch (orientation) {
    case Orientation::up:
        break;
    case Orientation::mirrored:
        return {.mirrorX = true};
    case Orientation::down:
        return {.mirrorX = true, .mirrorY = true};
    case Orientation::downMirrored:
        return {.mirrorY = true};
    case Orientation::transposed:
        return {.transpose = true};
    case Orientation::right:
        return {.transpose = true, .mirrorX = true};
    case Orientation::transverse:
        return {.transpose = true, .mirrorX = true, .mirrorY = true};
    case Orientation::left:
        return {.transpose = true, .mirrorY = true};
    }
    return {};
}

JpegTurn quarterTurns(int clockwise)
{
    constexpr Orientation turns[] = {Orientation::up, Orientation::right, Orientation::down, Orientation::left};
    return turnOf(turns[((clockwise % 4) + 4) % 4]);
}

JpegTurn joined(const JpegTurn& first, const JpegTurn& second)
{
    // Rows and columns that change places later take their mirrors along.
    bool mirrorX = first.mirrorX, mirrorY = first.mirrorY;
    if (second.transpose)
        std::swap(mirrorX, mirrorY);
    return {.transpose = first.transpose != second.transpose,
            .mirrorX = mirrorX != second.mirrorX,
            .mirrorY = mirrorY != second.mirrorY};
}

void turnBlock(const JCOEF* from, const JpegTurn& turn, JCOEF* to)
{
    for (int v = 0; v < DCTSIZE; ++v)
        for (int u = 0; u < DCTSIZE; ++u) {
            const int value = turn.transpose ? from[u * DCTSIZE + v] : from[v * DCTSIZE + u];
            const bool isNegated = (turn.mirrorX && u % 2 != 0) != (turn.mirrorY && v % 2 != 0);
            to[v * DCTSIZE + u] = static_cast<JCOEF>(isNegated ? -value : value);
        }
}

} // namespace zel
