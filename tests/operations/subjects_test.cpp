#include <zel/operations/subjects.h>

#include <zel/platform/foundation/failure.h>
#include <zel/platform/foundation/limits.h>

#include <common/pictures.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

namespace zel {
namespace {

using test::flat;
using test::painted;
using test::pixelAt;
using test::Rgba;

/// A picture as a value: rows of red, green, blue, alpha.
struct Bitmap {
    int width = 0, height = 0;
    std::vector<Rgba> pixels;
    [[nodiscard]] Rgba& at(int x, int y) { return pixels[static_cast<std::size_t>(y * width + x)]; }
    [[nodiscard]] const Rgba& at(int x, int y) const { return pixels[static_cast<std::size_t>(y * width + x)]; }
    friend bool operator==(const Bitmap&, const Bitmap&) = default;
};

Ref<const CGImage> imageOf(const Bitmap& bitmap)
{
    return painted(bitmap.width, bitmap.height, CGAlphaInfo::premultipliedLast,
                   [&](int x, int y) { return bitmap.at(x, y); });
}

Bitmap bitmapOf(const CGImage& image)
{
    Bitmap bitmap{image.width(), image.height(), {}};
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            bitmap.pixels.push_back(pixelAt(image, x, y));
    return bitmap;
}

/// A picture of text: '#' opaque, '.' clear, a digit d alpha d.
Bitmap drawing(const std::vector<std::string>& rows)
{
    Bitmap bitmap{static_cast<int>(rows[0].size()), static_cast<int>(rows.size()), {}};
    for (const std::string& row : rows)
        for (const char c : row) {
            const auto alpha = static_cast<std::uint8_t>(c == '#' ? 255 : c == '.' ? 0 : c - '0');
            bitmap.pixels.push_back({0, 0, 0, alpha});
        }
    return bitmap;
}

struct Place {
    int x, y;
};

/// The cells that hang together with those in `queue`, breadth first; `enter` marks a cell and tells whether it counts.
template <class Enter>
void flood(std::vector<Place>& queue, int width, int height, const Enter& enter)
{
    for (std::size_t i = 0; i < queue.size(); ++i) {
        const Place at = queue[i];
        const Place neighbours[] = {{at.x + 1, at.y}, {at.x - 1, at.y}, {at.x, at.y + 1}, {at.x, at.y - 1}};
        for (const Place& to : neighbours)
            if (to.x >= 0 && to.y >= 0 && to.x < width && to.y < height && enter(to.x, to.y))
                queue.push_back(to);
    }
}

/// Subjects by plain breadth-first searches over pixels: the long way round, with a copy of the picture for each.
std::vector<Bitmap> separated(Bitmap work, const SeparateSubjects& how)
{
    const int width = work.width, height = work.height;
    std::vector<Bitmap> results;
    std::vector<char> visited(work.pixels.size());
    const auto isVisited = [&](int x, int y) -> char& { return visited[static_cast<std::size_t>(y * width + x)]; };
    const auto enter = [&](int x, int y) {
        if (isVisited(x, y) || work.at(x, y)[3] <= how.alphaThreshold)
            return false;
        isVisited(x, y) = 1;
        return true;
    };
    for (int startY = 0; startY < height; ++startY) {
        for (int startX = 0; startX < width; ++startX) {
            if (!enter(startX, startY))
                continue;
            std::vector<Place> subject{{startX, startY}};
            flood(subject, width, height, enter);
            if (static_cast<std::int64_t>(subject.size()) < how.minPixelCount)
                continue;
            int left = width, top = height, right = 0, bottom = 0;
            for (const Place& p : subject) {
                left = std::min(left, p.x), right = std::max(right, p.x);
                top = std::min(top, p.y), bottom = std::max(bottom, p.y);
            }
            if (how.fillHoles || how.fillHolesPercentage > 0) {
                const int w = right - left + 1, h = bottom - top + 1;
                std::vector<char> cells(static_cast<std::size_t>(w * h)); // 0 free, 1 subject, 2 outside, 3 hole
                const auto cell = [&](int x, int y) -> char& { return cells[static_cast<std::size_t>(y * w + x)]; };
                for (const Place& p : subject)
                    cell(p.x - left, p.y - top) = 1;
                char mark = 2;
                const auto claim = [&](int x, int y) { return cell(x, y) == 0 ? (cell(x, y) = mark, true) : false; };
                std::vector<Place> outside;
                for (int y = 0; y < h; ++y)
                    for (int x = 0; x < w; ++x)
                        if ((x == 0 || y == 0 || x == w - 1 || y == h - 1) && claim(x, y))
                            outside.push_back({x, y});
                flood(outside, w, h, claim);
                mark = 3;
                const auto most =
                    static_cast<std::size_t>(how.fillHolesPercentage * static_cast<double>(subject.size()));
                for (int y = 0; y < h; ++y)
                    for (int x = 0; x < w; ++x) {
                        if (!claim(x, y))
                            continue;
                        std::vector<Place> hole{{x, y}};
                        flood(hole, w, h, claim);
                        if (how.fillHoles || hole.size() <= most)
                            for (const Place& p : hole)
                                work.at(p.x + left, p.y + top)[3] = 255, isVisited(p.x + left, p.y + top) = 1;
                    }
            }
            const auto padding = static_cast<int>(how.padding);
            const int x0 = std::max(left - padding, 0), y0 = std::max(top - padding, 0);
            const int x1 = std::min(right + 1 + padding, width - 1), y1 = std::min(bottom + 1 + padding, height - 1);
            Bitmap crop{x1 - x0 + 1, y1 - y0 + 1, {}};
            for (int y = y0; y <= y1; ++y)
                for (int x = x0; x <= x1; ++x)
                    crop.pixels.push_back(work.at(x, y));
            results.push_back(std::move(crop));
        }
    }
    return results;
}

/// Blots of noise; every alpha near the threshold occurs.
Bitmap randomMask(std::minstd_rand& random)
{
    const auto below = [&](unsigned bound) { return static_cast<int>((random() >> 8U) % bound); };
    Bitmap bitmap{1 + below(40), 1 + below(40), {}};
    const int density = 20 + below(70), grain = 1 + below(3);
    const std::uint8_t alphas[] = {0, 9, 10, 11, 200, 255};
    std::vector<std::uint8_t> noise(4096);
    for (std::uint8_t& alpha : noise)
        alpha = below(100) < density ? alphas[3 + below(3)] : alphas[below(3)];
    for (int y = 0; y < bitmap.height; ++y)
        for (int x = 0; x < bitmap.width; ++x)
            bitmap.pixels.push_back({static_cast<std::uint8_t>(x), static_cast<std::uint8_t>(y), 77,
                                     noise[static_cast<std::size_t>(y / grain * 64 + x / grain)]});
    return bitmap;
}

TEST(Subjects, AreThoseOfAPlainSearch)
{
    std::minstd_rand random(25);
    std::size_t found = 0, withHoles = 0;
    for (int i = 0; i < 200; ++i) {
        const Bitmap mask = randomMask(random);
        SeparateSubjects how{.alphaThreshold = 10, .padding = i % 4, .minPixelCount = 1 + i % 5};
        const auto plain = separated(mask, how);
        how.fillHoles = i % 3 == 1;
        how.fillHolesPercentage = i % 3 == 2 ? (i % 7) * 0.1 : 0;
        SCOPED_TRACE(testing::Message() << "mask " << i << ", " << mask.width << " x " << mask.height);
        const auto expected = separated(mask, how);
        const auto actual = zelFindSeparateSubjects(imageOf(mask), how);
        ASSERT_EQ(actual.size(), expected.size());
        for (std::size_t k = 0; k < expected.size(); ++k)
            ASSERT_EQ(bitmapOf(*actual[k]), expected[k]) << "subject " << k;
        found += expected.size();
        withHoles += expected != plain ? 1U : 0U;
    }
    EXPECT_GT(found, 1500U);
    EXPECT_GT(withHoles, 50U);
}

std::vector<std::string> squareAt(int x0, int y0, int side, int pictureSide)
{
    std::vector<std::string> rows;
    for (int y = 0; y < pictureSide; ++y) {
        rows.emplace_back(static_cast<std::size_t>(pictureSide), '.');
        if (y >= y0 && y < y0 + side)
            rows.back().replace(static_cast<std::size_t>(x0), static_cast<std::size_t>(side),
                                static_cast<std::size_t>(side), '#');
    }
    return rows;
}

TEST(Subjects, OneByOne)
{
    constexpr std::int64_t endless = std::numeric_limits<std::int64_t>::max();
    // A band of 200 pixels around a hole of 20: 14 × 16 without 4 of its corner pixels, around 4 × 5.
    std::vector<std::string> ring(16, std::string(14, '#'));
    for (std::size_t y = 5; y < 10; ++y)
        ring[y].replace(5, 4, "....");
    ring[0].replace(0, 4, "....");
    const std::vector<std::string> nested = {"#######", "#.....#", "#.###.#", "#.#.#.#",
                                             "#.###.#", "#.....#", "#######"};
    const struct {
        const char* name;
        std::vector<std::string> rows;
        SeparateSubjects how;
        std::vector<CGSize> sizes;
        std::int64_t opaque; // pixels of alpha 255 in the first crop
    } cases[] = {
        {"nothing there", {"...", "..."}, {}, {}, 0},
        {"opaque everywhere", {"###", "###"}, {.padding = 9}, {{3, 2}}, 6},
        {"a corner joins nothing", {"##..", "##..", "..##", "..##"}, {}, {{3, 3}, {2, 2}}, 5},
        {"the threshold is background", {"9.8."}, {.alphaThreshold = 8}, {{2, 1}}, 0},
        {"as many pixels as are wanted", {"##.#."}, {.minPixelCount = 2}, {{3, 1}}, 2},
        {"one fewer", {"##.#."}, {.minPixelCount = 3}, {}, 0},
        {"one more behind than in front", squareAt(10, 10, 10, 100), {.padding = 5}, {{21, 21}}, 100},
        {"a padding beyond all figures", squareAt(1, 1, 2, 9), {.padding = endless}, {{9, 9}}, 4},
        {"a padding that leaves nothing", squareAt(4, 4, 2, 9), {.padding = -2}, {}, 0},
        {"a padding that leaves something", squareAt(2, 2, 6, 9), {.padding = -2}, {{3, 3}}, 9},
        {"a tenth of the subject is closed", ring, {.fillHolesPercentage = 0.1}, {{14, 16}}, 220},
        {"a little less is not", ring, {.fillHolesPercentage = 0.09}, {{14, 16}}, 200},
        {"unless all are", ring, {.fillHoles = true}, {{14, 16}}, 220},
        {"a share that is not a number closes none", ring, {.fillHolesPercentage = std::nan("")}, {{14, 16}}, 200},
        {"a subject in a hole", nested, {}, {{7, 7}, {4, 4}}, 32},
        {"is part of a closed one", nested, {.fillHoles = true}, {{7, 7}}, 49},
        {"and shows no later hole before its turn", nested, {.fillHolesPercentage = 0.13}, {{7, 7}, {4, 4}}, 32},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const auto subjects = zelFindSeparateSubjects(makeZelImage(imageOf(drawing(c.rows))), c.how);
        ASSERT_TRUE(subjects.has_value());
        std::vector<CGSize> sizes;
        for (const auto& subject : *subjects)
            sizes.push_back(subject->size);
        EXPECT_EQ(sizes, c.sizes);
        if (subjects->empty())
            continue;
        std::int64_t opaque = 0;
        for (const Rgba& pixel : bitmapOf(*subjects->front()->cgImage).pixels)
            opaque += pixel[3] == 255 ? 1 : 0;
        EXPECT_EQ(opaque, c.opaque);
    }
}

TEST(Subjects, ComeFromTheDrawnPicture)
{
    // Straight and alpha first in, premultiplied and alpha last out; a part lives on without the picture.
    auto image = painted(4, 1, CGAlphaInfo::first, [](int x, int) {
        return x == 0 ? Rgba{0, 9, 9, 9} : Rgba{51, 200, 100, 0};
    });
    const auto subjects = zelFindSeparateSubjects(image, {.alphaThreshold = 50});
    image.reset();
    ASSERT_EQ(subjects.size(), 1U);
    EXPECT_EQ(bitmapOf(*subjects[0]), (Bitmap{3, 1, std::vector<Rgba>(3, {40, 20, 0, 51})}));
    EXPECT_EQ(subjects[0]->layout().alphaInfo, CGAlphaInfo::premultipliedLast);
    const auto opaque = zelFindSeparateSubjects(flat(5, 4, {1, 2, 3, 0}, CGAlphaInfo::noneSkipLast), {});
    ASSERT_EQ(opaque.size(), 1U);
    EXPECT_EQ(pixelAt(*opaque[0], 4, 3), (Rgba{1, 2, 3, 255}));
}

TEST(Subjects, AbsentOrLimited)
{
    EXPECT_TRUE(zelFindSeparateSubjects(Ref<const CGImage>(), {}).empty());
    EXPECT_FALSE(zelFindSeparateSubjects(Ref<ZelImage>(), {}).has_value());
    EXPECT_FALSE(zelFindSeparateSubjects(std::make_shared<ZelImage>(), {}).has_value());
    // Ten thousand subjects of a pixel each, and the runs between them, are more than a megabyte.
    const auto specks = painted(200, 200, CGAlphaInfo::premultipliedLast, [](int x, int y) {
        return Rgba{0, 0, 0, static_cast<std::uint8_t>(x % 2 == 0 && y % 2 == 0 ? 255 : 0)};
    });
    EXPECT_EQ(zelFindSeparateSubjects(specks, {}).size(), 10'000U);
    ZelLimits limits;
    limits.operationBytes = 1'000'000;
    const ZelLimits::Scope scope(limits);
    ZelFailure::clear();
    EXPECT_TRUE(zelFindSeparateSubjects(specks, {}).empty());
    EXPECT_EQ(ZelFailure::last().code, ZelFailureCode::limit);
}

TEST(FillHoles, PaintsWhatDoesNotTouchTheBorder)
{
    // '#' opaque, '.' clear; 'o' becomes the colour.
    const struct {
        const char* name;
        std::vector<std::string> rows, filled;
    } cases[] = {
        {"nothing", {"...", "..."}, {"...", "..."}},
        {"a hole", {"####", "#..#", "####"}, {"####", "#oo#", "####"}},
        {"the ground", {".###", ".#.#", ".###"}, {".###", ".#o#", ".###"}},
        {"a corner is no way out", {".##", "#.#", "###"}, {".##", "#o#", "###"}},
        {"nine is empty", {"###", "#9#", "###"}, {"###", "#o#", "###"}},
        {"nine at the border", {"#9#", "#9#", "###"}, {"#9#", "#9#", "###"}},
        {"two regions close it together", {"###..", "#..#.", "###.."}, {"###..", "#oo#.", "###.."}},
    };
    for (const auto& c : cases) {
        const Bitmap before = drawing(c.rows);
        Bitmap expected = before;
        for (std::size_t y = 0; y < c.filled.size(); ++y)
            for (std::size_t x = 0; x < c.filled[y].size(); ++x)
                if (c.filled[y][x] == 'o')
                    expected.at(static_cast<int>(x), static_cast<int>(y)) = {127, 0, 255, 255};
        const auto image = imageOf(before);
        EXPECT_EQ(bitmapOf(*fillHoles(image, {.fillColor = {0.5, 0, 1, 0}})), expected) << c.name;
        EXPECT_EQ(bitmapOf(*image), before) << c.name;
    }
    // Ten is not empty; components outside 0 to 1 keep their low bits.
    const auto ten = painted(3, 3, CGAlphaInfo::premultipliedLast, [](int x, int y) {
        return Rgba{0, 0, 0, static_cast<std::uint8_t>(x == 1 && y == 1 ? 10 : 255)};
    });
    EXPECT_EQ(pixelAt(*fillHoles(ten, {.fillColor = {}}), 1, 1), (Rgba{0, 0, 0, 10}));
    const auto hole = imageOf(drawing({"###", "#.#", "###"}));
    EXPECT_EQ(pixelAt(*fillHoles(hole, {.fillColor = {2, -1 / 255.0, 1, 1}}), 1, 1), (Rgba{254, 255, 255, 255}));
}

TEST(FillHoles, AbsentWithAReason)
{
    const test::PrintedLines printed;
    EXPECT_EQ(fillHoles(Ref<const CGImage>(), {.fillColor = {}}), nullptr);
    ZelFailure::clear();
    EXPECT_EQ(fillHoles(flat(3, 3, {}), {.fillColor = {std::nan(""), 0, 0, 1}}), nullptr);
    EXPECT_EQ(ZelFailure::last().code, ZelFailureCode::invalidArgument);
    EXPECT_EQ(printed.lines(), std::vector<std::string>{"Impossibile convertire il colore in RGB"});
}

} // namespace
} // namespace zel
