#include <zel/engine/key.h>

#include <zel/engine/parallel.h>

#include <algorithm>
#include <cmath>

namespace zel::engine {
namespace {

constexpr int farthest = 3 * 255 * 255; // black to white

template <class Work>
bool inBands(const ConstPixels& from, const Pixels& to, const Work& work)
{
    if (from.empty() || from.width != to.width || from.height != to.height || from.bytesPerPixel != 4 ||
        to.bytesPerPixel != 4)
        return false;
    parallelFor(from.height, from.width,
                [&](int first, int last) { work(from.rows(first, last - first), to.rows(first, last - first)); });
    return true;
}

} // namespace

int largestKeyedSquare(double tolerance)
{
    if (!(tolerance >= 0))
        return -1;
    // The square is off by a rounding at most; the roots beside it decide.
    int square = static_cast<int>(std::min(tolerance * tolerance, static_cast<double>(farthest)));
    while (square < farthest && std::sqrt(static_cast<double>(square + 1)) <= tolerance)
        ++square;
    while (std::sqrt(static_cast<double>(square)) > tolerance)
        --square;
    return square;
}

bool keyOut(const ConstPixels& from, const Pixels& to, PixelOrder order, const ColorKey& key)
{
    return inBands(from, to, [&](const ConstPixels& rows, const Pixels& result) { keyRows(rows, result, order, key); });
}

bool paintOver(const ConstPixels& from, const Pixels& to, PixelOrder order, Color color)
{
    return inBands(from, to,
                   [&](const ConstPixels& rows, const Pixels& result) { paintRows(rows, result, order, color); });
}

} // namespace zel::engine
