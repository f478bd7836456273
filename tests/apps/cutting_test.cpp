#include "apps/run_program.h"
#include "apps/sample_files.h"

#include <gtest/gtest.h>

namespace zel::testing {
namespace {

// Of a ramp, a pixel tells where it was: red its column, green its row.
TEST(Cutting, CropsTheAreaThatWasAskedFor)
{
    const struct {
        const char* name;
        std::vector<std::string> flags;
        Sides size;
        int left, top;
    } cases[] = {
        {"a rectangle", {"--rect", "5,7,10,12"}, {10, 12}, 5, 7},
        {"over the edge", {"--rect", "-5,-7,10,12"}, {5, 5}, 0, 0},
        {"a shape", {"--aspect", "1:1"}, {20, 20}, 15, 0},
        {"a shape as a number", {"--aspect", "0.5"}, {10, 20}, 20, 0},
        {"a part of it", {"--aspect", "2:1", "--zoom", "2"}, {20, 10}, 15, 5},
        {"a part in the picture's shape", {"--zoom", "2.5"}, {20, 8}, 15, 6},
    };
    const TemporaryFolder folder;
    folder.put("a.png", pngFile(50, 20));
    for (const auto& [name, flags, size, left, top] : cases) {
        SCOPED_TRACE(name);
        std::vector<std::string> words = {"crop", "a.png", "-o", "b.png"};
        words.insert(words.end(), flags.begin(), flags.end());
        const auto ended = zel(folder, words);
        ASSERT_EQ(ended.status, 0) << ended.err;
        EXPECT_EQ(sidesOf(folder.text("b.png")), size);
        EXPECT_EQ(pixelsOfFile(folder.text("b.png")).front(), ramp(left, top));
    }
}

TEST(Cutting, WrongAreasAndTilesAreRefused)
{
    const TemporaryFolder folder;
    folder.put("a.png", pngFile(50, 20));
    std::filesystem::create_directory(folder / "out");
    folder.put("out/a-0-1.png", "old");
    const struct {
        std::vector<std::string> words;
        int status;
        const char* says;
    } cases[] = {
        {{"crop", "a.png", "-o", "b.png"}, 2, "no area"},
        {{"crop", "a.png", "-o", "b.png", "--rect", "1,2,3"}, 2, "no rectangle"},
        {{"crop", "a.png", "-o", "b.png", "--rect", "1,2,3,0"}, 2, "without area"},
        {{"crop", "a.png", "-o", "b.png", "--rect", "1,2,nan,4"}, 2, "no number"},
        {{"crop", "a.png", "-o", "b.png", "--rect", "50,0,9,9"}, 2, "lies in the picture"},
        {{"crop", "a.png", "-o", "b.png", "--rect", "1,2,3,4", "--zoom", "2"}, 2, "--rect says the area"},
        {{"tiles", "a.png", "-o", "t/"}, 2, "no tiles"},
        {{"tiles", "a.png", "-o", "t/", "--grid", "0x2"}, 2, "not between 1"},
        {{"tiles", "a.png", "-o", "t/", "--tile", "10x8", "--border", "4"}, 2, "leaves nothing"},
        {{"tiles", "a.png", "-o", "t.png", "--tile", "10x8"}, 2, "takes one picture"},
        {{"tiles", "a.png", "-o", "-", "--tile", "10x8"}, 2, "takes one picture"},
        {{"tiles", "a.png", "-o", "t/{row}.png", "--tile", "10x8"}, 2, "{col}"},
        {{"tiles", "a.png", "--in-place", "--tile", "10x8"}, 2, "cannot take the place"},
        {{"tiles", "a.png", "-o", "out/", "--tile", "10x8"}, 5, "exists already"},
        {{"tiles", "none.png", "-o", "t/", "--tile", "10x8"}, 3, "no such file"},
        {{"convert", "a.png", "-o", "{row}.png"}, 2, "are of tiles"},
        {{"join", "a.png", "-o", "b.png"}, 2, "nothing to be joined with"},
        {{"join", "a.png", "none.png", "-o", "b.png"}, 3, "none.png"},
        {{"join", "a.png", "-", "-o", "b.png"}, 2, "standard input"},
    };
    for (const auto& [words, status, says] : cases) {
        const auto ended = zel(folder, words);
        EXPECT_EQ(ended.status, status) << words[0] << ' ' << says << ": " << ended.err;
        EXPECT_NE(ended.err.find(says), std::string::npos) << ended.err;
    }
    EXPECT_EQ(folder.text("b.png"), "absent");
    EXPECT_EQ(folder.text("out/a-0-1.png"), "old");
    EXPECT_EQ(folder.text("out/a-0-0.png"), "absent");
}

TEST(Cutting, TilesAreNamedByRowAndColumn)
{
    const struct {
        const char* name;
        std::vector<std::string> words;
        std::vector<std::string> files; ///< some of them
        Sides last;
        int left, top; ///< where the last one begins
    } cases[] = {
        {"a folder", {"-o", "t/", "--tile", "20x15"}, {"t/a-0-0.png", "t/a-1-2.png"}, {10, 5}, 40, 15},
        {"a pattern",
         {"-o", "{stem}/{row:02}/{col}.jpg", "--tile", "20x15"},
         {"a/00/0.jpg", "a/01/2.jpg"},
         {10, 5},
         40,
         15},
        {"borders", {"-o", "t/", "--tile", "20x20", "--border", "3"}, {"t/a-0-0.png", "t/a-0-3.png"}, {8, 20}, 42, 0},
        {"a grid", {"-o", "t/", "--grid", "3x2"}, {"t/a-0-0.png", "t/a-1-2.png"}, {16, 10}, 34, 10},
        {"a grid with borders",
         {"-o", "t/", "--grid", "2x1", "--border", "2"},
         {"t/a-0-0.png", "t/a-0-1.png"},
         {27, 20},
         23,
         0},
        {"sizes in names",
         {"-o", "t/{col}{row}-{width}x{height}.png", "--grid", "1x1"},
         {"t/00-50x20.png"},
         {50, 20},
         0,
         0},
    };
    for (const auto& [name, flags, files, last, left, top] : cases) {
        SCOPED_TRACE(name);
        const TemporaryFolder folder;
        folder.put("a.png", pngFile(50, 20));
        std::vector<std::string> words = {"tiles", "a.png"};
        words.insert(words.end(), flags.begin(), flags.end());
        const auto ended = zel(folder, words);
        ASSERT_EQ(ended.status, 0) << ended.err;
        for (const auto& file : files)
            EXPECT_NE(folder.text(file), "absent") << file;
        EXPECT_EQ(sidesOf(folder.text(files.back())), last);
        const Pixel first = pixelsOfFile(folder.text(files.back())).front(), wanted = ramp(left, top);
        for (std::size_t i = 0; i < 4; ++i)
            EXPECT_NEAR(first[i], wanted[i], files.back().ends_with(".jpg") ? 4 : 0);
        // Again: what is there stays, or is done anew.
        words.push_back("--skip-existing");
        folder.put(files.front(), "old");
        EXPECT_EQ(zel(folder, words).status, 0);
        EXPECT_EQ(folder.text(files.front()), "old");
        words.back() = "--force";
        EXPECT_EQ(zel(folder, words).status, 0);
        EXPECT_NE(folder.text(files.front()), "old");
    }
}

TEST(Cutting, StrictTilesAreAllOrNone)
{
    const TemporaryFolder folder;
    const auto whole = jpegFile(64, 64, [](int x, int y) {
        return Pixel{static_cast<std::uint8_t>(x * y), static_cast<std::uint8_t>(x * 37), static_cast<std::uint8_t>(y),
                     255};
    });
    folder.put("a.jpg", whole.substr(0, whole.size() - whole.size() / 4));
    EXPECT_EQ(zel(folder, {"tiles", "a.jpg", "-o", "t/", "--tile", "16x16", "--strict"}).status, 3);
    EXPECT_TRUE(std::filesystem::is_empty(folder / "t"));
    const auto ended = zel(folder, {"tiles", "a.jpg", "-o", "t/", "--tile", "16x16", "--jsonl"});
    EXPECT_EQ(ended.status, 0) << ended.err;
    EXPECT_NE(ended.out.find(R"("tiles":16,"rows":4,"columns":4)"), std::string::npos) << ended.out;
    EXPECT_NE(ended.err.find("ends early"), std::string::npos);
}

TEST(Cutting, PicturesAreJoined)
{
    const auto flat = [](std::uint8_t red) { return [red](int, int) { return Pixel{red, 0, 0, 255}; }; };
    const TemporaryFolder folder;
    folder.put("a.png", pngFile(40, 20, flat(10)));
    folder.put("b.png", pngFile(30, 10, flat(20)));
    folder.put("c.png", pngFile(5, 20, flat(30)));
    const struct {
        const char* name;
        std::vector<std::string> words;
        const char* file;
        Sides size;
        int last; ///< red of the last pixel
    } cases[] = {
        {"two", {"a.png", "b.png", "-o", "o.png"}, "o.png", {100, 20}, 20},
        {"reduced", {"a.png", "--with", "b.png", "-o", "o.png", "--scale", "min"}, "o.png", {50, 10}, 20},
        {"below", {"b.png", "a.png", "-o", "o.png", "--side", "below", "--scale", "min"}, "o.png", {30, 25}, 10},
        {"three", {"a.png", "c.png", "a.png", "-o", "o.png"}, "o.png", {85, 20}, 10},
        {"two, and one with them", {"a.png", "a.png", "--with", "c.png", "-o", "o.png"}, "o.png", {85, 20}, 30},
        {"one with each", {"a.png", "b.png", "--with", "c.png", "-o", "t/"}, "t/b.png", {65, 20}, 30},
    };
    for (const auto& [name, flags, file, size, last] : cases) {
        SCOPED_TRACE(name);
        std::vector<std::string> words = {"join"};
        words.insert(words.end(), flags.begin(), flags.end());
        const auto ended = zel(folder, words);
        ASSERT_EQ(ended.status, 0) << ended.err;
        EXPECT_EQ(sidesOf(folder.text(file)), size);
        EXPECT_EQ(pixelsOfFile(folder.text(file)).back()[0], last);
    }
}

} // namespace
} // namespace zel::testing
