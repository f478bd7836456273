#include "apps/run_program.h"
#include "apps/sample_files.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace zel::testing {
namespace {

using ::testing::HasSubstr;
using Steps = std::vector<std::string>;

constexpr const char* kernel = "0 -1 0 -2 9 -2 0 -1 0";

/// The words of a run of `edit`.
std::vector<std::string> edited(const std::string& input, const std::string& output, const Steps& steps)
{
    std::vector<std::string> words = {"edit", input, "-o", output};
    words.insert(words.end(), steps.begin(), steps.end());
    return words;
}

TEST(Edit, StepsAreDoneInTheOrderWritten)
{
    const TemporaryFolder folder;
    folder.put("a.png", pngFile(60, 40));
    folder.put("logo.png", pngFile(10, 5));
    folder.put("look.cube", "LUT_3D_SIZE 2\n1 1 1\n0 1 1\n1 0 1\n0 0 1\n1 1 0\n0 1 0\n1 0 0\n0 0 0\n"); // a negative
    const std::vector<Steps> chains[] = {
        {{"resize", "--width", "30"}, {"rotate", "--by", "90"}, {"convolve", "--kernel", kernel}},
        {{"rotate", "--by", "-30"}, {"resize", "--size", "20x20", "--fit", "fill"}},
        {{"resize", "--size", "20x20", "--fit", "fill"}, {"rotate", "--by", "-30"}},
        {{"expose", "--ev", "-0.5"}, {"sharpen", "--amount", "0.7"}, {"straighten", "--by", "3"}},
        {{"cube", "--cube", "look.cube"}, {"resize", "--width", "20"}},
        {{"mask", "--mask", "logo.png"}, {"rotate", "--by", "180"}},
        {{"key", "--color", "#303020", "--tolerance", "40"},
         {"fill-holes", "--color", "white"},
         {"fill", "--color", "#f00"}},
        {{"watermark", "--watermark", "logo.png", "--opacity", "0.5"}, {"resize", "--max-side", "31"}},
        {{"crop", "--rect", "5,7,40,20"}, {"rotate", "--by", "90"}, {"crop", "--aspect", "1:1", "--zoom", "2"}},
    };
    const Steps steps[] = {
        {"--resize", "width=30", "--rotate", "90", "--convolve", kernel},
        {"--rotate=-30", "--resize", "20x20,fit=fill"},
        {"--resize", "size=20x20,fit=fill", "--rotate", "by=-30"},
        {"--expose", "-0.5", "--sharpen", "0.7", "--straighten", "by=3"},
        {"--cube", "look.cube", "--resize", "width=20"},
        {"--mask", "logo.png", "--rotate", "180"},
        {"--key", "#303020,tolerance=40", "--fill-holes", "white", "--fill", "color=#f00"},
        {"--watermark", "logo.png,opacity=0.5", "--resize=max-side=31"},
        {"--crop", "5,7,40,20", "--rotate", "90", "--crop", "aspect=1:1,zoom=2"},
    };
    for (std::size_t i = 0; i < std::size(chains); ++i) {
        SCOPED_TRACE(i);
        std::string input = "a.png";
        for (std::size_t k = 0; k < chains[i].size(); ++k) {
            const auto output = "step" + std::to_string(k) + ".png";
            auto words = chains[i][k];
            words.insert(words.begin() + 1, {input, "-o", output});
            ASSERT_EQ(zel(folder, words).status, 0);
            input = output;
        }
        const auto ended = zel(folder, edited("a.png", "b.png", steps[i]));
        ASSERT_EQ(ended.status, 0) << ended.err;
        EXPECT_EQ(sidesOf(folder.text("b.png")), sidesOf(folder.text(input)));
        EXPECT_EQ(pixelsOfFile(folder.text("b.png")), pixelsOfFile(folder.text(input)));
    }
}

TEST(Edit, ThePlanTellsTheSizesThatCome)
{
    const TemporaryFolder folder(true);
    folder.put("a.jpg", jpegFile(200, 133));
    const struct {
        Steps steps;
        const char* says;
    } cases[] = {
        {{"--resize", "width=33"}, "decoded at 1/4"},
        {{"--resize", "height=120,no-enlarge=yes"}, "as its rows are decoded"},
        {{"--resize", "height=300,no-enlarge=yes"}, "200 x 133"},
        {{"--resize", "max-side=77"}, "resize max-side=77"},
        {{"--resize", "min-side=40"}, "decoded at 1/2"},
        {{"--resize", "min-side=400"}, "200 x 133"},
        {{"--resize", "50x70,fit=fit"}, "50 x 70"},
        {{"--crop", "3,5,60,400"}, "60 x 128"},
        {{"--crop", "150,7.5,100,50.2"}, "written as its rows are decoded"},
        {{"--crop", "5,3,100,100", "--resize", "width=10"}, "as its rows are decoded"},
        {{"--crop", "8,16,96,96", "--resize", "width=9"}, "decoded at 1/8"},
        {{"--rotate", "12.5"}, "all of it decoded first"},
        {{"--rotate", "90", "--resize", "width=33"}, "decoded at 1/2"},
        {{"--rotate", "90", "--rotate", "180"}, "at most 212.8 kB of pixels"},
        {{"--convolve", kernel, "--rotate", "45", "--resize", "width=50"}, "at most "},
    };
    for (const auto& [steps, says] : cases) {
        SCOPED_TRACE(steps.back());
        Steps explaining = steps;
        explaining.emplace_back("--explain");
        const auto plan = zel(folder, edited("a.jpg", "b.png", explaining));
        EXPECT_EQ(plan.status, 0) << plan.err;
        EXPECT_THAT(plan.out, HasSubstr(says));
        EXPECT_EQ(folder.text("b.png"), "absent");
        ASSERT_EQ(zel(folder, edited("a.jpg", "b.png", steps)).status, 0);
        const auto [width, height] = sidesOf(folder.text("b.png"));
        const auto lines = plan.out.substr(0, plan.out.rfind("\n  "));
        EXPECT_THAT(lines.substr(lines.rfind('\n')), HasSubstr(std::to_string(width) + " x " + std::to_string(height)));
        std::filesystem::remove(folder / "b.png");
    }
}

TEST(Edit, RecipesSayTheSame)
{
    const TemporaryFolder folder;
    folder.put("a.png", pngFile(60, 40));
    folder.put("007", pngFile(10, 5));
    const Steps steps = {"--resize", "width=31",    "--convolve",
                         kernel,     "--watermark", "007,opacity=0.25,position=center"};
    auto words = edited("a.png", "b.png", steps);
    words.insert(words.end(), {"--save-recipe", "r.json"});
    ASSERT_EQ(zel(folder, words).status, 0);
    EXPECT_THAT(folder.text("r.json"), HasSubstr(R"("do": "resize",
      "width": 31)"));
    EXPECT_THAT(folder.text("r.json"), HasSubstr(R"("file": "007",
      "opacity": 0.25)"));
    ASSERT_EQ(zel(folder, edited("a.png", "c.png", {"--recipe", "r.json"})).status, 0);
    EXPECT_EQ(folder.text("c.png"), folder.text("b.png"));
    // A recipe stands where it is named; one can be written without a picture, and by hand.
    folder.put("turn.json", R"({"version": 1, "steps": [{"do": "rotate", "by": 90.0},
                                {"do": "convolve", "kernel": [0, 0, 0, 0, 3, 0, 0, 0, 0]}]})");
    ASSERT_EQ(zel(folder, {"edit", "--resize", "width=30", "--recipe", "turn.json", "--resize", "height=10",
                           "--save-recipe", "all.json"})
                  .status,
              0);
    ASSERT_EQ(zel(folder, edited("a.png", "d.png", {"--recipe", "all.json"})).status, 0);
    EXPECT_EQ(sidesOf(folder.text("d.png")), (Sides{7, 10})); // 30 x 20, 20 x 30, 6 2/3 x 10
}

TEST(Edit, WhatIsWrongEndsWithTwoAndTouchesNothing)
{
    const TemporaryFolder folder;
    folder.put("a.png", pngFile(4, 3));
    const struct {
        Steps steps;
        const char* says;
    } cases[] = {
        {{}, "zel edit: no steps"},
        {{"--resize"}, "--resize needs a value"},
        {{"--resize", "--rotate", "90"}, "--resize needs a value"},
        {{"--resize", "widht=3"}, "--resize: there is no setting 'widht', but width, height,"},
        {{"--resize", "width=3,width=4"}, "--resize: width is said twice"},
        {{"--resize", "width=0"}, "--resize: width: 0 is not between 1 and 1000000"},
        {{"--resize", "width=3,max-side=4"}, "--resize: the size is given in two ways"},
        {{"--resize", "width=3,no-enlarge=maybe"}, "no-enlarge: 'maybe' is none of yes, no,"},
        {{"--rotate", "north"}, "--rotate: by: 'north' is no number"},
        {{"--convolve", "1 2 3"}, "a kernel has 9 numbers, not 3"},
        {{"--watermark", "opacity=0.5"}, "--watermark: no watermark"},
        {{"--sharpn", "1"}, "unknown flag --sharpn"},
        {{"--recipe", "nowhere.json"}, "nowhere.json: no such file"},
        {{"--recipe", "a.png"}, "no JSON object with a list of steps"},
        {{"--recipe", "new.json"}, "its version is not 1"},
        {{"--recipe", "odd.json"}, "rotate: by is neither text, number"},
        {{"--recipe", "unknown.json"}, "there is no step 'explode'"},
    };
    folder.put("new.json", R"({"version": 2, "steps": []})");
    folder.put("odd.json", R"({"version": 1, "steps": [{"do": "rotate", "by": {"degrees": 90}}]})");
    folder.put("unknown.json", R"({"version": 1, "steps": [{"do": "explode"}]})");
    for (const auto& [steps, says] : cases) {
        SCOPED_TRACE(says);
        const auto ended = zel(folder, edited("a.png", "b.png", steps));
        EXPECT_EQ(ended.status, 2);
        EXPECT_THAT(ended.err, HasSubstr(says));
        EXPECT_EQ(folder.text("b.png"), "absent");
    }
}

} // namespace
} // namespace zel::testing
