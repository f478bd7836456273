#include <zel-viewer/edit_chain.h>
#include <zel-viewer/edit_history.h>

#include "viewer_pictures.h"

#include <gtest/gtest.h>

namespace zel::viewer {
namespace {

using namespace test;
using Turn = ZelImage::RotationDirection;

constexpr CGRect part{{0.1, 0.2}, {0.5, 0.6}};

TEST(EditChain, DoesWhatTheOperationsDoToTheFullPicture)
{
    const Ref<ZelImage> picture = gradient(120, 80);
    struct Case {
        const char* name;
        EditChain chain;
        Ref<ZelImage> expected;
    };
    const Ref<ZelImage> turnedOnce = rotate(picture, Turn::r90AntiClockWise);
    const Ref<ZelImage> leveled = rotateAndZoom(turnedOnce, {.byDegrees = -3.5});
    const Ref<ZelImage> cut = crop(leveled, {.toTargetRect = {{8, 24}, {40, 72}}});
    const Case cases[] = {
        {"nothing", {}, picture},
        {"once clockwise", {.quarterTurns = 1}, turnedOnce},
        {"twice", {.quarterTurns = 2}, rotate(picture, Turn::r180)},
        {"thrice", {.quarterTurns = 3}, rotate(picture, Turn::r90Clockwhise)},
        {"straightened", {.straightening = -2}, rotateAndZoom(picture, {.byDegrees = 2})},
        {"cropped", {.crop = part}, crop(picture, {.toTargetRect = {{12, 16}, {60, 48}}})},
        {"brighter", {.exposure = 0.75}, exposure(picture, 0.75)},
        {"sharper", {.sharpness = 0.8}, sharpen(picture, {.sharpness = 0.8f})},
        {"all",
         {.quarterTurns = 1, .straightening = 3.5, .crop = part, .exposure = -0.5, .sharpness = 0.8},
         sharpen(exposure(cut, -0.5), {.sharpness = 0.8f})},
    };
    for (const Case& row : cases) {
        SCOPED_TRACE(row.name);
        const Ref<ZelImage> result = edited(picture, row.chain);
        ASSERT_TRUE(result);
        ASSERT_TRUE(row.expected);
        EXPECT_EQ(result->size, row.expected->size);
        EXPECT_EQ(bytesOfPixels(result), bytesOfPixels(row.expected));
    }
    EXPECT_EQ(edited(nullptr, {.exposure = 1}), nullptr);
}

TEST(EditChain, PositiveIsClockwise)
{
    const Ref<ZelImage> pair = makeZelImage(painted(2, 1, CGAlphaInfo::noneSkipLast, [](int x, int) {
        return x == 0 ? Rgba{255, 0, 0, 255} : Rgba{0, 255, 0, 255};
    }));
    const Ref<ZelImage> upright = edited(pair, {.quarterTurns = 1});
    EXPECT_EQ(pixelAt(*upright->cgImage, 0, 0)[0], 255); // what was left is above

    const Ref<ZelImage> spot = makeZelImage(painted(101, 101, CGAlphaInfo::noneSkipLast, [](int x, int y) {
        return x > 45 && x < 55 && y > 10 && y < 20 ? Rgba{0, 0, 0, 255} : Rgba{255, 255, 255, 255};
    }));
    const Ref<ZelImage> turnedSpot = edited(spot, {.straightening = 10});
    double sum = 0, count = 0;
    for (int y = 0; y < 101; ++y)
        for (int x = 0; x < 101; ++x)
            if (pixelAt(*turnedSpot->cgImage, x, y)[0] < 128) {
                sum += x;
                ++count;
            }
    ASSERT_GT(count, 0);
    EXPECT_GT(sum / count, 54); // what was above the middle went to the right
}

TEST(EditChain, TurningKeepsWhatWasCutOut)
{
    const Ref<ZelImage> picture = gradient(40, 30);
    EditChain chain{.crop = CGRect{{0.25, 0.2}, {0.5, 0.4}}};
    Ref<ZelImage> expected = edited(picture, chain);
    for (int turn = 1; turn <= 4; ++turn) {
        SCOPED_TRACE(turn);
        chain = turned(chain, 1);
        expected = rotate(expected, Turn::r90AntiClockWise);
        EXPECT_EQ(bytesOfPixels(edited(picture, chain)), bytesOfPixels(expected));
    }
    EXPECT_EQ(turned(turned(chain, -1), 1).quarterTurns, chain.quarterTurns);
    EXPECT_EQ(turned(chain, -1).quarterTurns, 3);
}

TEST(EditChain, ForetellsTheSize)
{
    for (const auto& [width, height] :
         {std::pair(1, 1), std::pair(1, 7), std::pair(7, 1), std::pair(15, 17), std::pair(640, 479)})
        for (const EditChain& chain :
             {EditChain{}, EditChain{.quarterTurns = 1}, EditChain{.crop = part},
              EditChain{.quarterTurns = 3, .straightening = 2, .crop = CGRect{{0.333, 0.5}, {0.25, 0.001}}},
              EditChain{.crop = CGRect{{0.999, 0.999}, {0.001, 0.001}}}}) {
            SCOPED_TRACE(::testing::Message() << width << " x " << height << ", turns " << chain.quarterTurns);
            const Ref<ZelImage> result = edited(gradient(width, height), chain);
            ASSERT_TRUE(result);
            EXPECT_EQ(editedSize(chain, {double(width), double(height)}), result->size);
        }
}

TEST(EditHistory, JoinsChangesOfOneName)
{
    EditHistory history;
    history.change({.exposure = 0.1}, "expose");
    history.change({.exposure = 0.4}, "expose");
    history.change({.exposure = 0.4, .sharpness = 1}, "sharpen");
    history.change({.quarterTurns = 1}, "");
    history.change({.quarterTurns = 2}, "");
    history.change({.quarterTurns = 2}, "");
    std::vector<double> turns;
    for (; history.canUndo(); history.undo())
        turns.push_back(history.now().quarterTurns * 100 + history.now().exposure + history.now().sharpness);
    EXPECT_EQ(turns, (std::vector<double>{200, 100, 1.4, 0.4}));
    EXPECT_TRUE(history.now().isEmpty());
    history.redo();
    EXPECT_EQ(history.now(), (EditChain{.exposure = 0.4}));
    history.change({.exposure = 0.5}, "expose"); // after a way back a step of its own
    EXPECT_FALSE(history.canRedo());
    history.undo();
    EXPECT_EQ(history.now(), (EditChain{.exposure = 0.4}));
}

} // namespace
} // namespace zel::viewer
