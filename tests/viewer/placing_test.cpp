// Where things lie: the picture in its view, the frame of a crop in the picture.
#include <zel-viewer/crop_frame.h>
#include <zel-viewer/viewport.h>

#include <gtest/gtest.h>

namespace zel::viewer {
namespace {

using Corner = CropFrame::Corner;

TEST(Viewport, FitsWithoutEnlarging)
{
    struct Case {
        const char* name;
        QSizeF view, picture;
        double zoom;
        QRectF place;
    };
    const Case cases[] = {
        {"wide", {400, 400}, {800, 400}, 0.5, {0, 100, 400, 200}},
        {"high", {400, 200}, {100, 400}, 0.5, {175, 0, 50, 200}},
        {"small stays small", {400, 400}, {100, 50}, 1, {150, 175, 100, 50}},
        {"one pixel", {3, 3}, {1, 1}, 1, {1, 1, 1, 1}},
        {"no view yet", {0, 0}, {100, 100}, 0.01, {0, 0, 1, 1}},
    };
    for (const Case& row : cases) {
        Viewport viewport;
        viewport.setView(row.view);
        viewport.setPicture(row.picture);
        EXPECT_DOUBLE_EQ(viewport.zoom(), row.zoom) << row.name;
        EXPECT_EQ(viewport.pictureRect(), row.place) << row.name;
    }
}

TEST(Viewport, KeepsWhatIsUnderTheCursor)
{
    Viewport viewport;
    viewport.setView({400, 300});
    viewport.setPicture({4000, 3000});
    const QPointF cursor(310, 90);
    const QPointF under = viewport.toPicture(cursor);
    for (const double zoom : {0.5, 1.0, 2.0, 0.7}) {
        viewport.zoomTo(zoom, cursor);
        EXPECT_NEAR(viewport.toPicture(cursor).x(), under.x(), 1e-9) << zoom;
        EXPECT_NEAR(viewport.toPicture(cursor).y(), under.y(), 1e-9) << zoom;
    }
    viewport.zoomTo(1000, cursor);
    EXPECT_EQ(viewport.zoom(), Viewport::largestZoom);
    viewport.zoomTo(0, cursor);
    EXPECT_DOUBLE_EQ(viewport.zoom(), 0.1); // all of the picture
}

TEST(Viewport, PansAsFarAsThereIsPicture)
{
    Viewport viewport;
    viewport.setView({100, 100});
    viewport.setPicture({300, 50});
    viewport.zoomTo(1, viewport.middle());
    viewport.pan({1000, 1000});
    EXPECT_EQ(viewport.pictureRect(), QRectF(0, 25, 300, 50));
    viewport.pan({-1000, -1000});
    EXPECT_EQ(viewport.pictureRect(), QRectF(-200, 25, 300, 50));
    viewport.setPicture({600, 100}); // the same part of another size
    EXPECT_DOUBLE_EQ(viewport.toPicture({50, 50}).x(), 500);
}

TEST(CropFrame, IsTheLargestOfItsRatio)
{
    struct Case {
        const char* name;
        CGSize picture;
        std::optional<double> ratio;
        double zoom;
        CGRect rect;
    };
    const Case cases[] = {
        {"all", {400, 300}, std::nullopt, 1, {{0, 0}, {400, 300}}},
        {"square of a wide one", {400, 300}, 1, 1, {{50, 0}, {300, 300}}},
        {"square of a high one", {300, 400}, 1, 1, {{0, 50}, {300, 300}}},
        {"zoomed", {400, 300}, 1, 2, {{125, 75}, {150, 150}}},
        {"never larger than the picture", {400, 300}, std::nullopt, 0.2, {{0, 0}, {400, 300}}},
        {"never without pixels", {400, 300}, 1, 1e9, {{196, 146}, {8, 8}}},
    };
    for (const Case& row : cases) {
        CropFrame frame(row.picture);
        frame.setRatio(row.ratio);
        frame.setZoom(row.zoom);
        EXPECT_EQ(frame.rect(), row.rect) << row.name;
    }
}

TEST(CropFrame, StaysInThePicture)
{
    CropFrame frame({400, 300});
    frame.setZoom(2);
    frame.moveBy({1000, -1000});
    EXPECT_EQ(frame.rect(), (CGRect{{200, 0}, {200, 150}}));
    frame.moveBy({-10, 10}); // what was pushed against an edge comes back at once
    EXPECT_EQ(frame.rect(), (CGRect{{190, 10}, {200, 150}}));
    frame.setZoom(1);
    EXPECT_EQ(frame.part(), std::nullopt);
}

TEST(CropFrame, APulledCornerLeavesTheOppositeOne)
{
    struct Case {
        const char* name;
        Corner corner;
        CGPoint to;
        CGRect rect;
    };
    // From the middle half of a picture of 400 x 200: 100...300 by 50...150.
    const Case cases[] = {
        {"inward", Corner::bottomRight, {200, 100}, {{100, 50}, {100, 50}}},
        {"the longer way counts", Corner::bottomRight, {200, 125}, {{100, 50}, {150, 75}}},
        {"to the upper left", Corner::topLeft, {50, 60}, {{50, 25}, {250, 125}}},
        {"up to the edge", Corner::topRight, {1000, 0}, {{100, 0}, {300, 150}}},
        {"beyond the other corner", Corner::bottomLeft, {900, -50}, {{284, 50}, {16, 8}}},
    };
    for (const Case& row : cases) {
        CropFrame frame({400, 200});
        frame.setZoom(2);
        frame.pull(row.corner, row.to);
        EXPECT_NEAR(frame.rect().minX(), row.rect.minX(), 1e-9) << row.name;
        EXPECT_NEAR(frame.rect().minY(), row.rect.minY(), 1e-9) << row.name;
        EXPECT_NEAR(frame.rect().width(), row.rect.width(), 1e-9) << row.name;
        EXPECT_NEAR(frame.rect().height(), row.rect.height(), 1e-9) << row.name;
    }
}

TEST(CropFrame, BeginsAtThePartThatWasCut)
{
    const CGRect part{{0.125, 0.25}, {0.5, 0.25}};
    const CropFrame frame({800, 400}, part);
    EXPECT_EQ(frame.rect(), (CGRect{{100, 100}, {400, 100}}));
    EXPECT_DOUBLE_EQ(frame.ratio(), 4);
    EXPECT_EQ(frame.part(), part);
}

} // namespace
} // namespace zel::viewer
