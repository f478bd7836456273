#include "apps/run_program.h"
#include "apps/sample_files.h"

#include <gtest/gtest.h>

namespace zel::testing {
namespace {

struct Naming {
    std::string name;
    std::vector<std::string> words; ///< behind "convert --dry-run"
    std::string planned;
};

// A dry run looks at names alone, so most of these files need not exist. The folder holds album/1.jpg, album/2.JPEG,
// album/deep/3.PNG, album/notes.txt, album/.hidden.jpg, kept/ and kept/old.jpg.
const Naming namings[] = {
    {"a file", {"a.jpg", "-o", "b.png"}, "a.jpg -> b.png\n"},
    {"a file below folders that are to be made", {"a.jpg", "-o", "x/y/b.png"}, "a.jpg -> x/y/b.png\n"},
    {"a name without an extension is a file for one input", {"a.jpg", "-o", "b"}, "a.jpg -> b\n"},
    {"and a folder for two", {"a.jpg", "c.jpg", "-o", "b"}, "a.jpg -> b/a.jpg\nc.jpg -> b/c.jpg\n"},
    {"a slash makes a folder for one", {"a.jpg", "-o", "b/"}, "a.jpg -> b/a.jpg\n"},
    {"so does a folder that exists", {"a.jpg", "-o", "kept"}, "a.jpg -> kept/a.jpg\n"},
    {"the input's folders do not come along", {"x/y/a.jpg", "-o", "b/"}, "x/y/a.jpg -> b/a.jpg\n"},
    {"the input's extension keeps its spelling", {"a.JPEG", "-o", "b/"}, "a.JPEG -> b/a.JPEG\n"},
    {"another format has its own extension", {"a.JPEG", "-o", "b/", "--format", "tiff"}, "a.JPEG -> b/a.tif\n"},
    {"only the last extension goes", {"a.b.jpg", "-o", "b/", "--format", "png"}, "a.b.jpg -> b/a.b.png\n"},
    {"a point in front is no extension", {".jpg", "-o", "b/", "--format", "png"}, ".jpg -> b/.jpg.png\n"},
    {"folders keep their shape",
     {"-r", "album", "-o", "b"},
     "album/1.jpg -> b/1.jpg\nalbum/2.JPEG -> b/2.JPEG\nalbum/deep/3.PNG -> b/deep/3.PNG\n"},
    {"a slash behind a folder changes nothing", {"-r", "album/deep/", "-o", "b"}, "album/deep/3.PNG -> b/3.PNG\n"},
    {"files and folders in their order",
     {"-r", "z.png", "album/deep", "a.png", "-o", "b"},
     "z.png -> b/z.png\nalbum/deep/3.PNG -> b/3.PNG\na.png -> b/a.png\n"},
    {"stem and extension", {"x/a.jpg", "-o", "b/{stem}-small.{ext}"}, "x/a.jpg -> b/a-small.jpg\n"},
    {"numbers begin at 1 and count inputs", {"a.jpg", "c.png", "-o", "{n}.{ext}"}, "a.jpg -> 1.jpg\nc.png -> 2.png\n"},
    {"numbers with zeros in front", {"a.jpg", "c.png", "-o", "{n:04}.jpg"}, "a.jpg -> 0001.jpg\nc.png -> 0002.jpg\n"},
    {"numbers with one digit are as long as they need", {"a.jpg", "-o", "{n:1}.jpg"}, "a.jpg -> 1.jpg\n"},
    {"a pattern's extension says the format", {"a.jpg", "-o", "{stem}.png"}, "a.jpg -> a.png\n"},
    {"--format says it where the pattern does not",
     {"a.jpg", "-o", "b/{n}.{ext}", "--format", "tiff"},
     "a.jpg -> b/1.tif\n"},
    {"sides are known later", {"a.jpg", "-o", "{stem}-{width}x{height}.{ext}"}, "a.jpg -> a-{width}x{height}.jpg\n"},
    {"braces", {"a.jpg", "-o", "{{{stem}}}.{ext}"}, "a.jpg -> {a}.jpg\n"},
    {"in place", {"a.jpg", "--in-place"}, "a.jpg -> a.jpg\n"},
    {"standard input in a folder", {"-", "-o", "b/", "--format", "jpeg"}, "- -> b/stdin.jpg\n"},
    {"a list", {"--files-from", "list", "-o", "b/"}, "a b.jpg -> b/a b.jpg\n - .png -> b/ - .png\n"},
    {"a list of one still means a folder", {"--files-from", "short", "-o", "b"}, "a.jpg -> b/a.jpg\n"},
    {"a list that ends names with zeros", {"--files-from", "zeros", "-0", "-o", "b/"}, "a\n.jpg"},
};

TEST(Naming, OutputsAreNamedAsPromised)
{
    const TemporaryFolder folder;
    for (const char* const name : {"album", "album/deep", "kept"})
        std::filesystem::create_directory(folder / name);
    for (const char* const name :
         {"album/1.jpg", "album/2.JPEG", "album/deep/3.PNG", "album/notes.txt", "album/.hidden.jpg", "kept/old.jpg"})
        folder.put(name, "");
    folder.put("list", "a b.jpg\n\n - .png\n");
    folder.put("short", "a.jpg");
    folder.put("zeros", std::string("a\n.jpg\0", 7));
    for (const auto& [name, words, planned] : namings) {
        SCOPED_TRACE(name);
        std::vector<std::string> all = {"convert", "--dry-run"};
        all.insert(all.end(), words.begin(), words.end());
        const auto ended = zel(folder, all);
        EXPECT_EQ(ended.status, 0);
        EXPECT_EQ(ended.err, "");
        // A line feed of a name does not break the line.
        EXPECT_EQ(ended.out, planned == "a\n.jpg" ? "a?.jpg -> b/a?.jpg\n" : planned);
    }
    EXPECT_FALSE(std::filesystem::exists(folder / "b"));
}

TEST(Naming, ContentSaysTheFormatWhereTheNameDoesNot)
{
    const TemporaryFolder folder;
    folder.put("plain", pngFile(4, 3));
    folder.put("other", jpegFile(4, 3));
    EXPECT_EQ(zel(folder, {"convert", "plain", "other", "-o", "out/"}).status, 0);
    EXPECT_EQ(formatOf(folder.text("out/plain.png")), "png");
    EXPECT_EQ(formatOf(folder.text("out/other.jpg")), "jpeg");
}

TEST(Naming, SidesAreThoseOfTheResult)
{
    const TemporaryFolder folder;
    folder.put("wide.png", pngFile(40, 20));
    folder.put("high.png", pngFile(10, 30));
    const auto ended =
        zel(folder, {"resize", "wide.png", "high.png", "-o", "{width}x{height:03}.{ext}", "--max-side", "15"});
    EXPECT_EQ(ended.status, 0) << ended.err;
    EXPECT_EQ(sidesOf(folder.text("15x007.png")), (Sides{15, 7}));
    EXPECT_EQ(sidesOf(folder.text("5x015.png")), (Sides{5, 15}));
}

TEST(Naming, SidesThatMakeOneNameFailTheSecondInput)
{
    const TemporaryFolder folder;
    folder.put("a.png", pngFile(4, 3));
    folder.put("b.png", pngFile(4, 3));
    const auto ended = zel(folder, {"convert", "a.png", "b.png", "-o", "{width}.png", "--jobs", "1"});
    EXPECT_EQ(ended.status, 1);
    EXPECT_EQ(ended.err, "zel convert: 4.png: another picture of this run has this name\n"
                         "zel convert: 1 of 2 done, 1 failed\n");
}

TEST(Naming, SidesNeverMakeAnInputsName)
{
    const TemporaryFolder folder;
    folder.put("4.png", pngFile(4, 3));
    const auto ended = zel(folder, {"convert", "4.png", "-o", "{width}.png", "--force"});
    EXPECT_EQ(ended.status, 5);
    EXPECT_EQ(folder.text("4.png"), pngFile(4, 3));
}

} // namespace
} // namespace zel::testing
