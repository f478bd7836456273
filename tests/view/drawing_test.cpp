#include <view/image_view.h>

#include <view/qt_application.h>

#include <QScrollArea>
#include <gtest/gtest.h>

#include <atomic>
#include <future>

namespace zel {
namespace {

using namespace test;

constexpr Rgba blue{0, 0, 255, 255};

class CountingView : public ZelImageView {
public:
    int setups = 0;
    void setup() override
    {
        ++setups;
        ZelImageView::setup();
    }
};

TEST(ViewAppearance, SetupRunsWhereSomethingChanges)
{
    CountingView view;
    EXPECT_EQ(view.radius(), 6.0);
    EXPECT_EQ(view.border(), 0.0);
    EXPECT_EQ(view.borderColor(), QColor::fromRgbF(0.5F, 0.5F, 0.5F, 0.0F));
    struct Case {
        const char* name;
        std::function<void()> act;
        int setups;
    };
    const Case cases[] = {
        {"the radius that it has", [&] { view.setRadius(6.0); }, 0},
        {"another radius", [&] { view.setRadius(10.0); }, 1},
        {"the border that it has", [&] { view.setBorder(0.0); }, 0},
        {"another border", [&] { view.setBorder(2.0); }, 1},
        {"the colour that it has", [&] { view.setBorderColor(view.borderColor()); }, 0},
        {"another colour", [&] { view.setBorderColor(Qt::red); }, 1},
        {"a property, as style sheets set it", [&] { view.setProperty("radius", 4.0); }, 1},
        {"update", [&] { view.update(); }, 1},
        {"drawing", [&] { drawn(view); }, 1},
    };
    view.resize(20, 20);
    drawn(view);
    for (const Case& row : cases) {
        view.setups = 0;
        row.act();
        EXPECT_EQ(view.setups, row.setups) << row.name;
    }
}

TEST(ViewAppearance, StyleSheetsSetTheProperties)
{
    ZelImageView view;
    view.resize(60, 60);
    view.setStyleSheet("zel--ZelImageView { qproperty-radius: 20; qproperty-border: 4; qproperty-borderColor: #ff0000;"
                       " background-color: #00ff00 }");
    view.ensurePolished();
    EXPECT_EQ(view.radius(), 20);
    EXPECT_EQ(view.border(), 4);
    EXPECT_EQ(view.borderColor(), QColor(Qt::red));
    const QImage image = drawn(view);
    EXPECT_EQ(image.pixel(30, 2), qRgba(255, 0, 0, 255));
    EXPECT_EQ(image.pixel(30, 30), qRgba(0, 255, 0, 255));
}

TEST(ViewAppearance, CornersAreCutAndTheBorderLiesInside)
{
    ZelImageView view;
    view.resize(60, 60);
    view.setShownImage(flatImage(90, 90, blue)->image);
    struct Case {
        const char* name;
        double radius, border;
        int x, y;
        QRgb color;
    };
    // A corner of radius r leaves a pixel out whose middle is further than r from the middle of its circle.
    const QRgb image = qRgba(0, 0, 255, 255), red = qRgba(255, 0, 0, 255), none = 0;
    const Case cases[] = {
        {"no radius: the corner pixel", 0, 0, 0, 0, image},
        {"radius 20: the corner", 20, 0, 4, 4, none},
        {"radius 20: behind the curve", 20, 0, 8, 8, image},
        {"radius 20: the edge's middle", 20, 0, 30, 0, image},
        {"radius above half a side: the circle", 1000, 0, 7, 7, none},
        {"radius above half a side: the edge", 1000, 0, 30, 1, image},
        {"a negative radius is none", -5, 0, 0, 0, image},
        {"border 4: its last pixel", 0, 4, 30, 3, red},
        {"border 4: the first of the image", 0, 4, 30, 4, image},
        {"border 4 on the right", 0, 4, 56, 30, red},
        {"border and radius: the corner", 20, 4, 4, 4, none},
        {"border and radius: on the curve", 20, 4, 7, 7, red},
    };
    view.setBorderColor(Qt::red);
    for (const Case& row : cases) {
        view.setRadius(row.radius);
        view.setBorder(row.border);
        EXPECT_EQ(drawn(view).pixel(row.x, row.y), row.color) << row.name;
    }
}

TEST(ViewDrawing, ImagesAreScaledDownInProportionAndNeverUp)
{
    struct Case {
        const char* name;
        CGSize points;
        QSize view;
        QRect place;
    };
    const Case cases[] = {
        {"larger", {200, 100}, {50, 50}, {0, 12, 50, 25}},
        {"higher", {20, 100}, {50, 50}, {20, 0, 10, 50}},
        {"smaller", {10, 6}, {50, 50}, {20, 22, 10, 6}},
        {"as large", {50, 50}, {50, 50}, {0, 0, 50, 50}},
        {"a line stays visible", {400, 1}, {40, 20}, {0, 9, 40, 1}},
        {"no sides", {0, 0}, {40, 20}, {}},
    };
    for (const Case& row : cases) {
        NSImageView view;
        view.resize(row.view);
        view.setShownImage(NSImage::make(flat(40, 40, blue), row.points));
        const QImage image = drawn(view);
        QRect place;
        for (int y = 0; y < row.view.height(); ++y)
            for (int x = 0; x < row.view.width(); ++x)
                if (image.pixel(x, y) != 0)
                    place |= QRect(x, y, 1, 1);
        EXPECT_EQ(place, row.place) << row.name;
    }
}

// Run a second time with QT_SCALE_FACTOR=2; the others count on a display that is not scaled.
TEST(ViewDrawing, EveryPixelShowsOnAScaledDisplay)
{
    NSImageView view;
    const double scale = view.devicePixelRatioF();
    EXPECT_EQ(Screens::displayScale(), scale);
    const int side = static_cast<int>(20 * scale);
    const auto board = painted(side, side, CGAlphaInfo::noneSkipLast, [](int x, int y) {
        return (x + y) % 2 == 0 ? Rgba{255, 255, 255, 255} : Rgba{0, 0, 0, 255};
    });
    view.resize(20, 20);
    view.setShownImage(NSImage::make(board, {20, 20}));
    const QImage image = drawn(view);
    ASSERT_EQ(image.width(), side);
    for (int y = 0; y < side; ++y)
        for (int x = 0; x < side; ++x)
            ASSERT_EQ(qRed(image.pixel(x, y)), (x + y) % 2 == 0 ? 255 : 0) << x << ", " << y;
}

TEST(ViewDrawing, LargePicturesAreMadeInTheBackgroundAndOnlyWhereSeen)
{
    std::atomic<int> seen = 0, hidden = 0, onMain = 0;
    const auto drawing = [&onMain](std::atomic<int>& count) {
        return NSImage::make({1000, 1000}, [&](CGRect rect) {
            ++count;
            onMain += QThread::currentThread() == QApplication::instance()->thread() ? 1 : 0;
            Draw::fillRect(rect, {0, 0, 1, 1});
            return true;
        });
    };
    QScrollArea area;
    auto* content = new QWidget;
    content->resize(100, 1000);
    auto* above = new NSImageView(content);
    auto* below = new NSImageView(content);
    above->setGeometry(0, 0, 80, 80);
    below->setGeometry(0, 900, 80, 80);
    above->setShownImage(drawing(seen));
    below->setShownImage(drawing(hidden));
    area.setWidget(content);
    area.resize(150, 150);
    area.show();
    const auto isBlue = [](QWidget& view) { return qBlue(drawn(view).pixel(40, 40)) == 255; };
    // What is grabbed is completed at once, on this thread: so waiting comes first.
    EXPECT_TRUE(waitFor([&] { return seen == 1; }));
    EXPECT_EQ(hidden, 0);
    area.ensureVisible(40, 940);
    EXPECT_TRUE(waitFor([&] { return hidden == 1; }));
    EXPECT_EQ(seen, 1);
    EXPECT_EQ(onMain, 0);
    EXPECT_TRUE(waitFor([&] { return isBlue(*above) && isBlue(*below); }));
}

TEST(ViewDrawing, AGrabbedViewIsComplete)
{
    QWidget window;
    window.resize(300, 300);
    NSImageView view(&window);
    view.resize(300, 300);
    view.setShownImage(NSImage::make(flat(1500, 1500, blue), {1500, 1500}));
    window.show();
    EXPECT_EQ(window.grab().toImage().pixel(150, 150), qRgba(0, 0, 255, 255));
    view.setShownImage(NSImage::make(flat(1500, 1600, blue), {1500, 1600}));
    EXPECT_EQ(view.grab().toImage().pixel(150, 150), qRgba(0, 0, 255, 255));
}

TEST(ViewDrawing, WhatScrolledAwayBeforeItsTurnIsLeftOut)
{
    std::promise<void> release;
    const std::shared_future<void> released(release.get_future());
    std::atomic<int> made = 0;
    QWidget window;
    window.resize(90, 30);
    std::vector<NSImageView*> views;
    for (int place = 0; place < 3; ++place) { // two are made at once, one waits
        views.push_back(new NSImageView(&window));
        views.back()->setGeometry(place * 30, 0, 30, 30);
        views.back()->setShownImage(NSImage::make({1000, 1000}, [&made, released](CGRect) {
            ++made;
            released.wait();
            return true;
        }));
    }
    window.show();
    ASSERT_TRUE(waitFor([&] { return made == 2; }));
    for (NSImageView* view : views)
        view->move(view->x() - 100, 0);
    release.set_value();
    Queue::execute({.fast = false}, [&made] { XMain::execute([&made] { made = -made; }); }); // behind the two
    ASSERT_TRUE(waitFor([&] { return made < 0; }));
    runWaitingTasks();
    EXPECT_EQ(made, -2);
}

} // namespace
} // namespace zel
