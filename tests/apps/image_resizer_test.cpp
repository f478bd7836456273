#include "apps/sample_files.h"

#include <zel/support/notify.h>

#include <gtest/gtest.h>

namespace zel::testing {
namespace {

// The program that is built along, found where the library looks for it.
TEST(ImageResizer, ReducesTheLongerSide)
{
    const struct {
        const char* name;
        std::int64_t size;
        Sides sides; // none where it fails
    } cases[] = {
        {"b.png", 20, {20, 10}},  {"b.jpg", 10, {10, 5}}, {"b.TIF", 20, {20, 10}},
        {"c.png", 100, {40, 20}}, {"d.png", 0, {}},       {"none/e.txt", -1, {}},
    };
    const TemporaryFolder folder;
    folder.put("a picture.png", pngFile(40, 20));
    for (const auto& c : cases) {
        EXPECT_EQ(
            ZelCLIImageResizer::resize(folder.url("a picture.png"), {.to = folder.url(c.name), .maxSize = c.size}),
            c.sides.width > 0)
            << c.name;
        EXPECT_EQ(sidesOf(folder.text(c.name)), c.sides) << c.name;
    }
    EXPECT_FALSE(ZelCLIImageResizer::resize(folder.put("text.png", "text"), {.to = folder.url("b.png"), .maxSize = 9}));
    EXPECT_EQ(folder.text("b.png"), "absent") << "nothing stays after a failure";
}

} // namespace
} // namespace zel::testing
