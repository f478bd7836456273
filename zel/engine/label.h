#pragma once
#include <zel/engine/pixels.h>

#include <span>
#include <vector>

namespace zel::engine {

/// A picture of one bit a pixel: the bit of pixel x is bit x % 64 of word x / 64 of its row; bits behind the last pixel
/// of a row are clear.
class BitPicture {
public:
    /// All clear. Sides of at least 1. Throws bad_alloc.
    BitPicture(int width, int height);

    [[nodiscard]] int width() const { return width_; }
    [[nodiscard]] int height() const { return height_; }
    [[nodiscard]] std::span<std::uint64_t> row(int y) { return {words_.data() + wordsBefore(y), wordsPerRow_}; }
    [[nodiscard]] std::span<const std::uint64_t> row(int y) const
    {
        return {words_.data() + wordsBefore(y), wordsPerRow_};
    }

private:
    [[nodiscard]] std::size_t wordsBefore(int y) const { return wordsPerRow_ * static_cast<std::size_t>(y); }

    int width_, height_;
    std::size_t wordsPerRow_;
    std::vector<std::uint64_t> words_;
};

/// The pixels whose alpha is above the threshold; red, green, blue, alpha, 8 bits each. On all cores. Throws bad_alloc.
[[nodiscard]] BitPicture alphaAbove(const ConstPixels& pixels, std::uint8_t threshold);

/// Pixels of equal bits side by side; the run ends where the next one of its row begins.
struct Run {
    int start;
    std::uint32_t region;
};

/// Pixels of equal bits that hang together across their sides, not across corners.
struct Region {
    bool isSet = false;
    bool touchesBorder = false;                   ///< of the picture
    int left = 0, top = 0, right = 0, bottom = 0; ///< the first and last column and row that it has pixels in
    std::int64_t pixels = 0;
};

/// A picture cut into regions, of set and of clear bits, by runs: works in proportion to the number of runs, without
/// recursion. Regions are numbered in the order of their first pixels, row by row.
class RegionMap {
public:
    /// Throws bad_alloc. `countRuns` has to be at most `mostRuns`.
    explicit RegionMap(const BitPicture& bits);

    /// Tells what a map would cost: it takes at most `bytesPerRun` for each run, while it is made.
    static std::uint64_t countRuns(const BitPicture& bits);
    static constexpr std::uint64_t bytesPerRun = 64;
    static constexpr std::uint64_t mostRuns = 0xFFFFFFF0u;

    [[nodiscard]] int width() const { return width_; }
    [[nodiscard]] int height() const { return static_cast<int>(rowStarts_.size()) - 1; }
    [[nodiscard]] const std::vector<Region>& regions() const { return regions_; }
    /// The runs of a row, from left to right; together they are the whole row.
    [[nodiscard]] std::span<const Run> row(int y) const
    {
        const auto at = static_cast<std::size_t>(y);
        return {runs_.data() + rowStarts_[at], rowStarts_[at + 1] - rowStarts_[at]};
    }
    /// The column behind run `i` of a row.
    [[nodiscard]] int end(std::span<const Run> row, std::size_t i) const
    {
        return i + 1 < row.size() ? row[i + 1].start : width_;
    }

private:
    void findRuns(const BitPicture& bits);
    std::vector<std::uint32_t> joinRuns(const BitPicture& bits);
    void nameRegions(std::vector<std::uint32_t>& joined, const BitPicture& bits);

    int width_;
    std::vector<std::size_t> rowStarts_;
    std::vector<Run> runs_;
    std::vector<Region> regions_;
};

} // namespace zel::engine
