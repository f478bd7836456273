#include "apps/run_program.h"
#include "apps/sample_files.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unistd.h>

namespace zel::testing {
namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;

struct WrongUsage {
    std::string name;
    std::vector<std::string> words;
    std::string says;
};

// The folder holds a.png, b.png, other/a.png and logo.png.
const WrongUsage wrongUsages[] = {
    {"no verb", {}, "zel: no verb (hint: zel help)"},
    {"unknown verb", {"shrink"}, "zel: there is no verb shrink (hint: zel help)"},
    {"unknown verb to help with", {"help", "shrink"}, "zel help: there is no verb shrink (hint: zel help)"},
    {"unknown flag", {"resize", "a.png", "--widht", "3"}, "zel resize: unknown flag --widht (hint: zel help resize)"},
    {"flag of another verb", {"resize", "a.png", "-o", "c.png", "--watermark", "logo.png"}, "unknown flag --watermark"},
    {"flag without its value", {"resize", "a.png", "--width"}, "zel resize: --width needs a value"},
    {"flag in the place of a value",
     {"resize", "a.png", "-o", "--force", "--width", "3"},
     "--output needs a value before --force"},
    {"flag given twice", {"resize", "a.png", "-o", "c.png", "--width", "3", "--width", "4"}, "--width is given twice"},
    {"no input", {"resize", "-o", "c.png", "--width", "3"}, "zel resize: no input"},
    {"no output", {"resize", "a.png", "--width", "3"}, "zel resize: no output (hint: -o FILE, FOLDER/ or PATTERN)"},
    {"empty output", {"resize", "a.png", "-o", "", "--width", "3"}, "--output"},
    {"no size", {"resize", "a.png", "-o", "c.png"}, "zel resize: no size"},
    {"width that is no number",
     {"resize", "a.png", "-o", "c.png", "--width", "12q"},
     "zel resize: --width: '12q' is no whole number"},
    {"width with a fraction", {"resize", "a.png", "-o", "c.png", "--width", "12.5"}, "'12.5' is no whole number"},
    {"width of nothing", {"resize", "a.png", "-o", "c.png", "--width", "0"}, "0 is not between 1 and 1000000"},
    {"width below nothing", {"resize", "a.png", "-o", "c.png", "--width=-5"}, "-5 is not between 1 and 1000000"},
    {"width beyond all numbers",
     {"resize", "a.png", "-o", "c.png", "--width", "99999999999999999999"},
     "is not between 1 and 1000000"},
    {"size without a cross", {"resize", "a.png", "-o", "c.png", "--size", "100"}, "'100' is no size in pixels"},
    {"size and width", {"resize", "a.png", "-o", "c.png", "--size", "1x1", "--width", "3"}, "--size says both sides"},
    {"two ways to say the size",
     {"resize", "a.png", "-o", "c.png", "--max-side", "9", "--width", "3"},
     "the size is given in two ways"},
    {"a fit for one side",
     {"resize", "a.png", "-o", "c.png", "--width", "3", "--fit", "fill"},
     "--fit needs both sides (hint: --size WxH)"},
    {"unknown fit",
     {"resize", "a.png", "-o", "c.png", "--size", "3x3", "--fit", "crop"},
     "'crop' is none of none, fit, fill"},
    {"quality above 100", {"convert", "a.png", "-o", "c.jpg", "--quality", "101"}, "101 is not between 0 and 100"},
    {"quality and bytes",
     {"export", "a.png", "-o", "c.jpg", "--quality", "80", "--max-bytes", "1k"},
     "--quality and --max-bytes exclude each other"},
    {"bytes of a PNG",
     {"export", "a.png", "-o", "c.png", "--max-bytes", "1k"},
     "--max-bytes is for JPEG and HEIF, the output is png (hint: --format jpeg)"},
    {"size with an unknown letter", {"export", "a.png", "-o", "c.jpg", "--max-bytes", "200x"}, "'200x' is no size"},
    {"number in a foreign notation", {"export", "a.png", "-o", "c.jpg", "--max-bytes", "1,5M"}, "'1,5M' is no size"},
    {"time that is none", {"convert", "a.png", "-o", "c.jpg", "--timeout", "soon"}, "'soon' is no time"},
    {"unknown format",
     {"convert", "a.png", "-o", "c", "--format", "gif"},
     "--format: 'gif' is none of jpeg, png, tiff, heif, pnm"},
    {"extension of no format", {"convert", "a.png", "-o", "c.xyz"}, "no picture is written as .xyz"},
    {"colour that is none", {"convert", "a.png", "-o", "c.jpg", "--background", "#12"}, "'#12' is no colour"},
    {"colour with other digits", {"convert", "a.png", "-o", "c.jpg", "--background", "#12345g"}, "is no colour"},
    {"no watermark", {"watermark", "a.png", "-o", "c.png"}, "zel watermark: no watermark (hint: --watermark FILE)"},
    {"place without a watermark",
     {"export", "a.png", "-o", "c.png", "--opacity", "0.5"},
     "there is no watermark to place"},
    {"unknown place",
     {"watermark", "a.png", "-o", "c.png", "--watermark", "logo.png", "--position", "middle"},
     "'middle' is none of Top Left, Top Center,"},
    {"opacity above 1",
     {"watermark", "a.png", "-o", "c.png", "--watermark", "logo.png", "--opacity", "60"},
     "60 is not between 0 and 1"},
    {"no angle", {"rotate", "a.png", "-o", "c.png"}, "zel rotate: no angle (hint: --by 90)"},
    {"angle that is none", {"rotate", "a.png", "-o", "c.png", "--by", "left"}, "--by: 'left' is no number"},
    {"no angle to straighten by", {"straighten", "a.png", "-o", "c.png"}, "zel straighten: no angle"},
    {"no exposure", {"expose", "a.png", "-o", "c.png"}, "zel expose: no exposure (hint: --ev 0.5)"},
    {"exposure of no number", {"expose", "a.png", "-o", "c.png", "--ev", "nan"}, "--ev: 'nan' is"},
    {"no cube", {"cube", "a.png", "-o", "c.png"}, "zel cube: no cube (hint: --cube FILE)"},
    {"no kernel", {"convolve", "a.png", "-o", "c.png"}, "zel convolve: no kernel"},
    {"kernel of eight",
     {"convolve", "a.png", "-o", "c.png", "--kernel", "1 2 3 4 5 6 7 8"},
     "--kernel: a kernel has 9 numbers, not 8"},
    {"kernel with a fraction",
     {"convolve", "a.png", "-o", "c.png", "--kernel", "0 0 0 0 0.5 0 0 0 0"},
     "'0.5' is no whole number"},
    {"two inputs for one file", {"convert", "a.png", "b.png", "-o", "c.jpg"}, "c.jpg takes one picture, there are 2"},
    {"two inputs for one name in a folder",
     {"convert", "a.png", "other/a.png", "-o", "out/"},
     "a.png and other/a.png would both be written to out/a.png"},
    {"two inputs for one name under a pattern",
     {"convert", "a.png", "b.png", "-o", "out/same.{ext}"},
     "a.png and b.png would both be written to out/same.png"},
    {"one input twice",
     {"convert", "--files-from", "twice", "-o", "out"},
     "other/a.png and other/a.png would both be written to out/a.png"},
    {"two inputs for standard output", {"convert", "a.png", "b.png", "-o", "-"}, "standard output takes one picture"},
    {"picture and JSON on one output", {"convert", "a.png", "-o", "-", "--json"}, "both a picture and JSON"},
    {"output that is the input",
     {"convert", "a.png", "-o", "a.png"},
     "a.png: the output is an input (hint: --in-place)"},
    {"output that is the input by another name",
     {"convert", "a.png", "-o", "./other/../a.png"},
     "the output is an input"},
    {"output that is the input through a link", {"convert", "a.png", "-o", "link.png"}, "the output is an input"},
    {"output that is another input", {"convert", "a.png", "b.png", "-o", "./{stem}.png"}, "the output is an input"},
    {"folder that holds the inputs",
     {"resize", "-r", "other", "-o", "other", "--width", "3"},
     "the output is an input"},
    {"output that is the watermark",
     {"watermark", "a.png", "-o", "logo.png", "--watermark", "logo.png"},
     "logo.png: the output is a file that the work needs"},
    {"output in place that is the watermark",
     {"watermark", "logo.png", "--in-place", "--watermark", "logo.png"},
     "the output is a file that the work needs"},
    {"other format in place", {"convert", "a.png", "--in-place", "--format", "jpeg"}, "--in-place keeps the name"},
    {"standard input in place", {"convert", "-", "--in-place"}, "standard input cannot be changed in place"},
    {"standard input twice", {"convert", "-", "-", "-o", "out/"}, "standard input can be read once only"},
    {"folder without -r", {"convert", "other", "-o", "out/"}, "other: a folder (hint: -r takes the pictures in it)"},
    {"folder without pictures", {"convert", "-r", "empty", "-o", "out/"}, "no pictures in what was named"},
    {"list that is missing", {"convert", "--files-from", "nowhere", "-o", "out/"}, "nowhere: no such file"},
    {"-0 without a list", {"convert", "a.png", "-0", "-o", "out/"}, "-0 tells how --files-from is read"},
    {"unknown placeholder", {"convert", "a.png", "-o", "{name}.jpg"}, "{name}.jpg: {name} stands for nothing"},
    {"open brace", {"convert", "a.png", "-o", "{stem.jpg"}, "a brace without its partner"},
    {"closing brace", {"convert", "a.png", "-o", "stem}.jpg"}, "a brace without its partner"},
    {"digits of a text", {"convert", "a.png", "-o", "{stem:3}.jpg"}, "{stem} has no digits"},
    {"too many digits", {"convert", "a.png", "-o", "{n:99}.jpg"}, "99 is not between 1 and 20"},
    {"force and skip",
     {"convert", "a.png", "-o", "c.jpg", "--force", "--skip-existing"},
     "--force and --skip-existing exclude each other"},
    {"both kinds of JSON", {"info", "a.png", "--json", "--jsonl"}, "--json and --jsonl exclude each other"},
    {"quiet and verbose", {"info", "a.png", "-q", "-v"}, "--quiet and --verbose exclude each other"},
    {"no mask", {"mask", "a.png", "-o", "c.png"}, "zel mask: no mask (hint: --mask FILE)"},
    {"mask that is the output", {"mask", "a.png", "-o", "b.png", "--mask", "b.png"}, "b.png: the output is a file"},
    {"one picture to compare", {"compare", "a.png"}, "two pictures are needed"},
    {"map that is no picture",
     {"compare", "a.png", "b.png", "--map", "c.txt"},
     "--map: no picture is written as c.txt"},
    {"map that is an input", {"compare", "a.png", "b.png", "--map", "b.png"}, "b.png: the output is an input"},
    {"map of three", {"compare", "a.png", "b.png", "logo.png", "--map", "c.png"}, "there are more"},
    {"percent above all", {"compare", "a.png", "b.png", "--fail-above", "101"}, "101 is not between 0 and 100"},
    {"grid of nothing", {"colors", "a.png", "--grid", "0x4"}, "--grid: 0 is not between 1 and"},
    {"unknown form", {"colors", "a.png", "--as", "gif"}, "'gif' is none of text, json, png"},
    {"squares of text", {"colors", "a.png", "--swatch", "4"}, "--swatch is for pictures"},
    {"text over its input", {"average", "a.png", "-o", "a.png"}, "a.png: the output is an input"},
    {"text and JSON on one output", {"average", "a.png", "-o", "-", "--json"}, "both the result and JSON"},
    {"settings that are missing",
     {"watermark", "a.png", "-o", "c.png", "--watermark", "logo.png", "--settings", "no.json"},
     "--settings: no.json: no such file"},
    {"settings that are none",
     {"watermark", "a.png", "-o", "c.png", "--watermark", "logo.png", "--settings", "twice"},
     "--settings: twice"},
    {"settings and a place",
     {"watermark", "a.png", "-o", "c.png", "--watermark", "logo.png", "--settings", "twice", "--scale", "1"},
     "--settings says it all"},
};

TEST(Usage, WhatIsWrongEndsWithTwoAndTouchesNothing)
{
    const TemporaryFolder folder;
    folder.put("a.png", pngFile(4, 3));
    folder.put("b.png", pngFile(4, 3));
    folder.put("logo.png", pngFile(2, 2));
    folder.put("twice", "other/a.png\nother/a.png\n");
    for (const char* const name : {"other", "empty"})
        std::filesystem::create_directory(folder / name);
    folder.put("other/a.png", pngFile(4, 3));
    ASSERT_EQ(symlink("a.png", (folder / "link.png").c_str()), 0);
    const auto before = folder.names();

    for (const auto& [name, words, says] : wrongUsages) {
        SCOPED_TRACE(name);
        const auto ended = zel(folder, words);
        EXPECT_EQ(ended.status, 2);
        EXPECT_THAT(ended.err, HasSubstr(says));
        EXPECT_EQ(std::count(ended.err.begin(), ended.err.end(), '\n'), 1) << ended.err;
        EXPECT_EQ(ended.out, "");
        EXPECT_EQ(folder.names(), before);
        EXPECT_EQ(folder.text("a.png"), pngFile(4, 3));
    }
}

TEST(Usage, HelpBeginsWithExamples)
{
    const TemporaryFolder folder;
    for (const char* const verb : {"export", "resize", "thumbnail", "convert", "watermark", "mask", "average", "colors",
                                   "compare", "fetch", "upload", "cache", "info", "formats", "version"}) {
        SCOPED_TRACE(verb);
        const auto help = zel(folder, {"help", verb});
        EXPECT_EQ(help.status, 0);
        EXPECT_THAT(help.out, StartsWith(std::string("Examples:\n  zel ") + verb));
        EXPECT_EQ(help.err, "");
        EXPECT_EQ(zel(folder, {verb, "--help"}).out, help.out);
        EXPECT_THAT(zel(folder, {"help"}).out, HasSubstr(std::string("\n  ") + verb + " "));
    }
}

TEST(Usage, NamesMayLookLikeFlagsAndLists)
{
    const TemporaryFolder folder;
    for (const char* const name : {"-x.png", "[1,2]", "--width"})
        folder.put(name, pngFile(4, 3));
    EXPECT_EQ(zel(folder, {"convert", "--dry-run", "-o", "out/", "--", "-x.png", "[1,2]", "--width"}).out,
              "-x.png -> out/-x.png\n[1,2] -> out/[1,2].png\n--width -> out/--width.png\n");
}

TEST(Usage, ControlCharactersDoNotReachTheTerminal)
{
    const TemporaryFolder folder;
    const auto ended = zel(folder, {"info", "a\x1b[2J\n\xc2\x9b.png"});
    EXPECT_EQ(ended.status, 3);
    EXPECT_EQ(ended.err, "zel info: a?[2J??.png: no such file\n");
}

} // namespace
} // namespace zel::testing
