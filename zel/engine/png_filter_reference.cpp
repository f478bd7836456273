#include <zel/engine/png_filter.h>

#include <algorithm>
#include <cstdlib>

namespace zel::engine {
namespace {

int nearest(int a, int b, int c)
{
    const int estimate = a + b - c;
    const int toA = std::abs(estimate - a), toB = std::abs(estimate - b), toC = std::abs(estimate - c);
    if (toA <= toB && toA <= toC)
        return a;
    return toB <= toC ? b : c;
}

int prediction(PngFilter filter, int a, int b, int c)
{
    switch (filter) {
    case PngFilter::sub:
        return a;
    case PngFilter::up:
        return b;
    case PngFilter::average:
        return (a + b) / 2;
    case PngFilter::paeth:
        return nearest(a, b, c);
    default:
        return 0;
    }
}

} // namespace

PngFilter PngRowMeasure::best() const
{
    return static_cast<PngFilter>(std::min_element(costs.begin(), costs.end()) - costs.begin());
}

void pngUnfilterReference(PngFilter filter, std::size_t distance, const std::uint8_t* filtered,
                          const std::uint8_t* above, std::uint8_t* row, std::size_t bytes)
{
    for (std::size_t i = 0; i < bytes; ++i) {
        const int a = i < distance ? 0 : row[i - distance], c = i < distance ? 0 : above[i - distance];
        row[i] = static_cast<std::uint8_t>(filtered[i] + prediction(filter, a, above[i], c));
    }
}

void pngFilterReference(PngFilter filter, std::size_t distance, const std::uint8_t* row, const std::uint8_t* above,
                        std::uint8_t* filtered, std::size_t bytes)
{
    for (std::size_t i = 0; i < bytes; ++i) {
        const int a = i < distance ? 0 : row[i - distance], c = i < distance ? 0 : above[i - distance];
        filtered[i] = static_cast<std::uint8_t>(row[i] - prediction(filter, a, above[i], c));
    }
}

PngRowMeasure pngMeasureReference(std::size_t distance, const std::uint8_t* row, const std::uint8_t* above,
                                  std::size_t bytes)
{
    PngRowMeasure measure;
    for (std::size_t i = 0; i < bytes; ++i) {
        const int a = i < distance ? 0 : row[i - distance], c = i < distance ? 0 : above[i - distance];
        for (std::size_t filter = 0; filter < pngFilterCount; ++filter) {
            const int difference = row[i] - prediction(static_cast<PngFilter>(filter), a, above[i], c);
            measure.costs[filter] += static_cast<std::uint64_t>(std::abs(static_cast<std::int8_t>(difference)));
        }
        measure.repeated += row[i] == a || row[i] == above[i] ? 1 : 0;
    }
    return measure;
}

} // namespace zel::engine
