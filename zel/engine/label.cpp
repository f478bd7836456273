#include <zel/engine/label.h>

#include <zel/engine/label_kernels.h>
#include <zel/engine/parallel.h>

#include <algorithm>
#include <bit>

// Rows become runs through the bits at which they change. Runs of neighbouring rows that overlap and hold equal bits
// are joined in a forest whose roots are the earliest runs, so that the order of the roots is that of the regions'
// first pixels.
namespace zel::engine {
namespace {

constexpr int wordBits = 64;

/// Calls `take` with the columns at which the runs of a row begin.
template <class Take>
void forEachStart(std::span<const std::uint64_t> row, int width, const Take& take)
{
    std::uint64_t before = ~row[0] & 1U; // so that the first pixel begins a run
    for (std::size_t i = 0; i < row.size(); ++i) {
        std::uint64_t changes = row[i] ^ (row[i] << 1U | before);
        before = row[i] >> (wordBits - 1U);
        const int first = static_cast<int>(i) * wordBits;
        if (width - first < wordBits)
            changes &= (std::uint64_t{1} << static_cast<unsigned>(width - first)) - 1;
        for (; changes != 0; changes &= changes - 1)
            take(first + std::countr_zero(changes));
    }
}

bool firstBit(const BitPicture& bits, int y)
{
    return (bits.row(y)[0] & 1U) != 0;
}

/// The root of a run, halving the way to it.
std::uint32_t rootOf(std::vector<std::uint32_t>& parents, std::uint32_t label)
{
    while (parents[label] != label) {
        parents[label] = parents[parents[label]];
        label = parents[label];
    }
    return label;
}

} // namespace

BitPicture::BitPicture(int width, int height)
    : width_(width),
      height_(height),
      wordsPerRow_((static_cast<std::size_t>(width) + wordBits - 1) / wordBits),
      words_(wordsPerRow_ * static_cast<std::size_t>(height))
{
}

BitPicture alphaAbove(const ConstPixels& pixels, std::uint8_t threshold)
{
    BitPicture bits(pixels.width, pixels.height);
    parallelFor(pixels.height, pixels.width, [&](int first, int last) {
        for (int y = first; y < last; ++y)
            markAlphaAbove(pixels.row(y), static_cast<std::size_t>(pixels.width), threshold, bits.row(y).data());
    });
    return bits;
}

RegionMap::RegionMap(const BitPicture& bits) : width_(bits.width())
{
    findRuns(bits);
    auto joined = joinRuns(bits);
    nameRegions(joined, bits);
}

std::uint64_t RegionMap::countRuns(const BitPicture& bits)
{
    std::uint64_t count = 0;
    for (int y = 0; y < bits.height(); ++y)
        forEachStart(bits.row(y), bits.width(), [&](int) { ++count; });
    return count;
}

void RegionMap::findRuns(const BitPicture& bits)
{
    runs_.reserve(countRuns(bits));
    rowStarts_.reserve(static_cast<std::size_t>(bits.height()) + 1);
    for (int y = 0; y < bits.height(); ++y) {
        rowStarts_.push_back(runs_.size());
        forEachStart(bits.row(y), width_, [&](int start) { runs_.push_back({start, 0}); });
    }
    rowStarts_.push_back(runs_.size());
}

/// Gives each run a label, and the forest of the labels that belong together: a label's parent is never larger.
std::vector<std::uint32_t> RegionMap::joinRuns(const BitPicture& bits)
{
    std::vector<std::uint32_t> parents;
    const auto fresh = [&] {
        parents.push_back(static_cast<std::uint32_t>(parents.size()));
        return parents.back();
    };
    for (std::size_t i = 0; i < rowStarts_[1]; ++i)
        runs_[i].region = fresh();
    for (int y = 1; y < height(); ++y) {
        const auto above = row(y - 1);
        const std::span<Run> here{runs_.data() + rowStarts_[static_cast<std::size_t>(y)], row(y).size()};
        const bool differ = firstBit(bits, y) != firstBit(bits, y - 1); // bits alternate along both rows
        std::size_t at = 0;
        for (std::size_t i = 0; i < here.size(); ++i) {
            while (end(above, at) <= here[i].start)
                ++at;
            const int last = end(here, i);
            bool hasLabel = false;
            // Every other run above holds the same bits.
            for (std::size_t j = at + ((at + i + (differ ? 1U : 0U)) & 1U); j < above.size() && above[j].start < last;
                 j += 2) {
                const std::uint32_t root = rootOf(parents, above[j].region);
                if (hasLabel) {
                    const std::uint32_t other = rootOf(parents, here[i].region);
                    parents[std::max(root, other)] = std::min(root, other);
                    here[i].region = std::min(root, other);
                } else {
                    here[i].region = root;
                    hasLabel = true;
                }
            }
            if (!hasLabel)
                here[i].region = fresh();
        }
    }
    return parents;
}

void RegionMap::nameRegions(std::vector<std::uint32_t>& joined, const BitPicture& bits)
{
    std::uint32_t count = 0;
    for (std::size_t i = 0; i < joined.size(); ++i)
        joined[i] = joined[i] == i ? count++ : joined[joined[i]];
    regions_.resize(count);
    for (int y = 0; y < height(); ++y) {
        const std::span<Run> here{runs_.data() + rowStarts_[static_cast<std::size_t>(y)], row(y).size()};
        const bool first = firstBit(bits, y);
        for (std::size_t i = 0; i < here.size(); ++i) {
            here[i].region = joined[here[i].region];
            Region& region = regions_[here[i].region];
            const int start = here[i].start, last = end(here, i) - 1;
            if (region.pixels == 0)
                region = {first == (i % 2 == 0), false, start, y, last, y, 0};
            region.pixels += last - start + 1;
            region.left = std::min(region.left, start);
            region.right = std::max(region.right, last);
            region.bottom = y;
            region.touchesBorder |= start == 0 || last == width_ - 1 || y == 0 || y == height() - 1;
        }
    }
}

} // namespace zel::engine
