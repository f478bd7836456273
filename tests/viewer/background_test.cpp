// What runs beside the main loop, and which of its results count.
#include <zel-viewer/session.h>

#include "viewer_pictures.h"

#include <view/desktop.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <future>

namespace zel::viewer {
namespace {

using namespace test;
using ::testing::ElementsAre;
using zel::testing::TemporaryFolder;

class NewestWinsTest : public ::testing::Test {
protected:
    void SetUp() override { Desktop::join(); }

    /// Work that waits for the gate and then shows its number.
    NewestWins::Work work(int number)
    {
        return [this, number]() -> NewestWins::Finish {
            ++begun_;
            gate_.wait();
            ++ended_;
            return [this, number] { shown_.push_back(number); };
        };
    }
    /// Until so many pieces have begun, and what was dropped has passed, too.
    void settle(const NewestWins& newest, int begun)
    {
        ASSERT_TRUE(waitFor([&] { return begun_ == begun && ended_ == begun && !newest.isBusy(); }));
        runWaitingTasks();
    }

    std::promise<void> opened_;
    std::shared_future<void> gate_{opened_.get_future()};
    std::atomic<int> begun_ = 0, ended_ = 0;
    std::vector<int> shown_;
};

TEST_F(NewestWinsTest, TheOneBetweenIsNeverBegun)
{
    NewestWins newest(NewestWins::Older::isShown);
    for (const int number : {1, 2, 3})
        newest.run(work(number));
    opened_.set_value();
    settle(newest, 2);
    EXPECT_THAT(shown_, ElementsAre(1, 3));
}

TEST_F(NewestWinsTest, OlderOnesAreNotShown)
{
    NewestWins newest(NewestWins::Older::isStopped);
    for (const int number : {1, 2, 3})
        newest.run(work(number));
    opened_.set_value();
    settle(newest, 2);
    EXPECT_THAT(shown_, ElementsAre(3));
}

TEST_F(NewestWinsTest, WhatIsDroppedNeverFinishes)
{
    NewestWins newest(NewestWins::Older::isShown);
    newest.run(work(1));
    newest.run(work(2));
    newest.drop();
    EXPECT_FALSE(newest.isBusy());
    opened_.set_value();
    settle(newest, 1);
    newest.run(work(3));
    settle(newest, 2);
    EXPECT_THAT(shown_, ElementsAre(3));
    {
        NewestWins gone(NewestWins::Older::isShown);
        gone.run(work(4));
    }
    settle(newest, 3);
    EXPECT_THAT(shown_, ElementsAre(3));
}

TEST_F(NewestWinsTest, OlderOnesAreStopped)
{
    NewestWins newest(NewestWins::Older::isStopped);
    std::atomic<bool> wasStopped = false;
    newest.run([&]() -> NewestWins::Finish {
        ++begun_;
        const Ref<ZelImage> picture = gradient(600, 600);
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (!wasStopped && std::chrono::steady_clock::now() < end)
            wasStopped = !jpegData(picture, {.quality = 0.9}) && ZelFailure::last().code == ZelFailureCode::cancelled;
        return {};
    });
    ASSERT_TRUE(waitFor([&] { return begun_ > 0; }));
    newest.run([]() -> NewestWins::Finish { return {}; });
    ASSERT_TRUE(waitFor([&] { return !newest.isBusy(); }));
    EXPECT_TRUE(wasStopped);
}

class SessionTest : public ::testing::Test {
protected:
    SessionTest()
    {
        Desktop::join();
        QObject::connect(&session_, &Session::opened, [this] { ++opened_; });
        QObject::connect(&session_, &Session::previewMade,
                         [this](const Preview& preview) { previews_.push_back(preview); });
    }
    void open(const URL& file)
    {
        session_.open({file});
        ASSERT_TRUE(waitFor([&] { return !session_.isBusy(); }));
    }
    void settle()
    {
        ASSERT_TRUE(waitFor([&] { return !session_.isBusy(); }));
    }

    TemporaryFolder folder_;
    Session session_{150}; // so that 600 x 400 are reduced to 150 x 100
    int opened_ = 0;
    std::vector<Preview> previews_;
};

TEST_F(SessionTest, TheNewestEditsEndUpShown)
{
    open(folder_.put("a.png", png(gradient(600, 400))));
    for (int i = 1; i <= 40; ++i)
        session_.show({{.exposure = i * 0.05}, {150, 100}});
    settle();
    ASSERT_FALSE(previews_.empty());
    EXPECT_LT(previews_.size(), 40u); // the first, perhaps a few more, and the last
    const Preview& last = previews_.back();
    EXPECT_EQ(last.chain, (EditChain{.exposure = 2}));
    EXPECT_EQ(last.size, (CGSize{600, 400}));
    EXPECT_EQ(last.pixels.size(), QSize(150, 100));
    EXPECT_EQ(bytesOfPixels(last.picture), bytesOfPixels(exposure(session_.current().reduced, 2)));
}

TEST_F(SessionTest, ZoomedInTheFullPictureFollows)
{
    open(folder_.put("a.png", png(gradient(600, 400))));
    const EditChain chain{.quarterTurns = 1, .exposure = 0.5, .sharpness = 0.6};
    session_.show({chain, {400, 600}});
    settle();
    ASSERT_FALSE(previews_.empty());
    const Preview last = previews_.back();
    previews_.pop_back();
    for (const Preview& first : previews_) // at once, from the reduced one, where that was the quicker one
        EXPECT_EQ(first.pixels.size(), QSize(100, 150));
    EXPECT_EQ(last.pixels.size(), QSize(400, 600));
    const Ref<ZelImage> expected =
        sharpen(exposure(rotate(session_.current().picture, ZelImage::RotationDirection::r90AntiClockWise), 0.5),
                {.sharpness = 0.6f});
    EXPECT_EQ(bytesOfPixels(last.picture), bytesOfPixels(expected));
    previews_.clear();

    session_.show({chain, {400, 600}}); // which is what is shown
    EXPECT_FALSE(session_.isBusy());
    session_.show({chain, {200, 300}}); // no new edits: nothing coarse in between
    settle();
    ASSERT_EQ(previews_.size(), 1u);
    EXPECT_EQ(previews_[0].pixels.size(), QSize(200, 300));
}

TEST_F(SessionTest, AnotherPictureTakesThePlaceOfWhatIsUnderWay)
{
    const URL small = folder_.put("b.png", png(gradient(60, 40)));
    open(folder_.put("a.png", png(noise(600, 400))));
    session_.show({{.sharpness = 1}, {600, 400}});
    session_.open({folder_.url("a.png")});
    session_.open({small});
    settle();
    EXPECT_EQ(opened_, 2); // the one between was not shown
    ASSERT_TRUE(session_.current().picture) << session_.current().message.toStdString();
    EXPECT_EQ(session_.current().picture->size, (CGSize{60, 40}));
    for (const Preview& preview : previews_)
        EXPECT_EQ(preview.size, (CGSize{600, 400}));
    previews_.clear();
    session_.show({{}, {60, 40}});
    settle();
    ASSERT_EQ(previews_.size(), 1u);
    EXPECT_EQ(previews_[0].pixels.pixelColor(59, 0).red(), 59 * 255 / 60);
}

TEST_F(SessionTest, ADamagedFileIsOpenedWithAMessage)
{
    open(folder_.put("words.png", "words"));
    EXPECT_EQ(opened_, 1);
    EXPECT_FALSE(session_.current().picture);
    EXPECT_FALSE(session_.current().message.isEmpty());
    session_.show({{}, {10, 10}});
    EXPECT_FALSE(session_.isBusy());
}

} // namespace
} // namespace zel::viewer
