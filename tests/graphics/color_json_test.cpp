#include <zel/platform/graphics/color_json.h>

#include <gtest/gtest.h>

namespace zel {
namespace {

TEST(ColorJson, NamesItsParts)
{
    EXPECT_EQ(encodeJson(ZelColor(0.5, 1, 0, 0.25)), R"({"red":0.5,"green":1.0,"blue":0.0,"alpha":0.25})");
    EXPECT_EQ(decodeJson<ZelColor>(R"({"alpha":0.25,"blue":0,"green":1,"red":0.5})"), ZelColor(0.5, 1, 0, 0.25));
    try {
        (void)decodeJson<ZelColor>(R"({"red":0.5,"green":1,"blue":0})");
        FAIL() << "the alpha is missing";
    } catch (const ZelDecodingError& error) {
        EXPECT_EQ(error.kind(), ZelDecodingError::Kind::keyNotFound);
        EXPECT_EQ(error.codingPath(), "alpha");
    }
}

TEST(FontJson, HasNameAndSize)
{
    EXPECT_EQ(encodeJson(ZelFont::Font{}), R"({"name":"Courier","size":64.0})");
    EXPECT_EQ(decodeJson<ZelFont::Font>(R"({"name":"Sans","size":12})"), (ZelFont::Font{"Sans", 12}));
    EXPECT_THROW((void)decodeJson<ZelFont::Font>(R"({"name":"Sans"})"), ZelDecodingError);
}

} // namespace
} // namespace zel
