#include <zel/engine/difference.h>
#include <zel/engine/parallel.h>

#include <algorithm>
#include <cstdlib>
#include <mutex>

// Sums of a stretch stay within 32 bits, so that the compiler adds many of them at once.
namespace zel::engine {
namespace {

constexpr int stretch = 8192; // pixels: 4 × 255² of each stay below 2^32

bool match(const ConstPixels& a, const ConstPixels& b)
{
    return !a.empty() && a.width == b.width && a.height == b.height && a.bytesPerPixel == 4 && b.bytesPerPixel == 4;
}

void addStretch(const std::uint8_t* a, const std::uint8_t* b, int pixels, int tolerance, DifferenceSums& sums)
{
    std::uint32_t absolute = 0, squares = 0, differing = 0;
    int largest = 0;
    for (int i = 0; i < 4 * pixels; ++i) {
        const int difference = std::abs(a[i] - b[i]);
        absolute += static_cast<std::uint32_t>(difference);
        squares += static_cast<std::uint32_t>(difference * difference);
        largest = std::max(largest, difference);
    }
    unsigned alphas = 255;
    for (int x = 0; x < pixels; ++x)
        alphas &= static_cast<unsigned>(a[4 * x + 3] & b[4 * x + 3]);
    if (largest > tolerance)
        for (int x = 0; x < pixels; ++x) {
            int most = 0;
            for (int i = 4 * x; i < 4 * x + 4; ++i)
                most = std::max(most, std::abs(a[i] - b[i]));
            differing += most > tolerance ? 1U : 0U;
        }
    sums.opaque = sums.opaque && alphas == 255;
    sums.absolute += absolute;
    sums.squares += squares;
    sums.differing += differing;
    sums.largest = std::max(sums.largest, largest);
}

} // namespace

DifferenceSums differenceSums(const ConstPixels& a, const ConstPixels& b, int tolerance)
{
    DifferenceSums all;
    if (!match(a, b))
        return all;
    std::mutex lock;
    parallelFor(a.height, a.width, [&](int first, int last) {
        DifferenceSums band;
        for (int y = first; y < last; ++y)
            for (int x = 0; x < a.width; x += stretch)
                addStretch(a.at(x, y), b.at(x, y), std::min(stretch, a.width - x), tolerance, band);
        const std::scoped_lock guard(lock);
        all.opaque = all.opaque && band.opaque;
        all.absolute += band.absolute;
        all.squares += band.squares;
        all.differing += band.differing;
        all.largest = std::max(all.largest, band.largest);
    });
    return all;
}

bool differenceMap(const ConstPixels& a, const ConstPixels& b, int white, const Pixels& to)
{
    if (!match(a, b) || !match(a, to) || white < 1)
        return false;
    parallelFor(a.height, a.width, [&](int first, int last) {
        for (int y = first; y < last; ++y) {
            const std::uint8_t *one = a.row(y), *other = b.row(y);
            std::uint8_t* out = to.row(y);
            for (int x = 0; x < a.width; ++x, one += 4, other += 4, out += 4) {
                int largest = 0;
                for (int i = 0; i < 4; ++i)
                    largest = std::max(largest, std::abs(one[i] - other[i]));
                const int grey = std::min(255, (largest * 255 + white / 2) / white);
                out[0] = out[1] = out[2] = static_cast<std::uint8_t>(grey);
                out[3] = 255;
            }
        }
    });
    return true;
}

} // namespace zel::engine
