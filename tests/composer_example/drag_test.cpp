#include <composer_example/composer_fixture.h>
#include <examples/composer/layer_pictures.h>
#include <examples/composer/scene.h>

#include <QKeyEvent>

#include <algorithm>
#include <cmath>

namespace zel::testing {
namespace {

// The composition is 1000 points wide in the view, 562.5 high: snapping reaches 10 points, 0.01 widths. Its lines are
// at 0, ±0.5 and ±0.45 across; at 0, ±0.28125 (half of 9/16) and ±0.253125 (nine tenths of that) down.
class ComposerDrag : public ComposerExample {
protected:
    void SetUp() override
    {
        ComposerExample::SetUp();
        pictures = std::make_unique<LayerPictures>(editor->store());
        scene = std::make_unique<Scene>(*editor, *pictures);
        scene->resize(1064, 640);
        scene->show();
        ASSERT_EQ(scene->page().width(), 1000);
        ASSERT_EQ(scene->page().height(), 562.5);
    }
    void TearDown() override
    {
        scene.reset();
        pictures.reset();
        ComposerExample::TearDown();
    }
    void putShape(CGPoint at, CGSize size)
    {
        editor->addShape(ShapeType::rectangle);
        editor->changeLayer({}, composer().layerList.back().id, {}, [&](Layer& stored) {
            stored.transform.location = at;
            stored.transform.scale = {size.width, size.height};
        });
    }
    /// As wide as half of the composition, and a quarter of its width high.
    void putPicture()
    {
        addPicture(picture("wide.png", 200, 100, {1, 0, 0, 1}));
        editor->changeLayer({}, composer().layerList.back().id, {}, [&](Layer& stored) {
            stored.transform.location = {0, 0};
            stored.transform.scale = {0.5, 0.5};
        });
    }

    std::unique_ptr<LayerPictures> pictures;
    std::unique_ptr<Scene> scene;
};

struct Row {
    const char* name;
    QPointF by; ///< points
    CGPoint place;
    std::vector<double> vertical, horizontal; ///< the lines shown
    Qt::KeyboardModifiers keys = {};
};

TEST_F(ComposerDrag, LayersComeToLieOnTheLinesThatAreShown)
{
    const Row shapes[] = {
        {"a margin line, 4 points away", {446, 60}, {0.45, 0.06}, {0.45}, {}},
        {"nothing within 10 points", {430, 60}, {0.43, 0.06}, {}, {}},
        {"11 points are too far", {439, 60}, {0.439, 0.06}, {}, {}},
        {"an edge, and the margin line above", {-504, -246}, {-0.5, -0.253125}, {-0.5}, {-0.253125}},
        {"the lower edge; pixels down count like pixels across", {100, 288}, {0.1, 0.28125}, {}, {0.28125}},
        {"back to the middle, where it was", {4, -5}, {0, 0}, {0}, {0}},
        {"the centre of another layer", {304, -94}, {0.3, -0.1}, {0.3}, {-0.1}},
        {"freely, while Ctrl is held", {446, -5}, {0.446, -0.005}, {}, {}, Qt::ControlModifier},
    };
    const Row wide[] = {
        // Its left edge at -0.203 - 0.25 = -0.453, its lower edge at 0.13 + 0.125 = 0.255.
        {"a picture's edges on the margin lines", {-203, 130}, {-0.2, 0.128125}, {-0.45}, {0.253125}},
        // Its right edge at 0.047 + 0.25 = 0.297, the other layer's line at 0.3.
        {"a picture's edge on another layer", {47, 60}, {0.05, 0.06}, {0.3}, {}},
    };
    putShape({0.3, -0.1}, {0.05, 0.05});
    putShape({0, 0}, {0.1, 0.1});
    const auto play = [&](const Row& row) {
        SCOPED_TRACE(row.name);
        editor->changeLayer({}, composer().layerList.back().id, {}, [](Layer& stored) {
            stored.transform.location = {0, 0};
        });
        const Layer before = composer().layerList.back();
        const QPointF from = scene->pointAt(before.transform.location);
        beginDrag(*scene, from, from + row.by, row.keys);
        const std::optional<Snapped> shown = scene->dragged();
        ASSERT_TRUE(shown);
        const auto same = [](const std::vector<double>& lines, const std::vector<double>& expected) {
            return std::equal(lines.begin(), lines.end(), expected.begin(), expected.end(),
                              [](double one, double other) { return std::abs(one - other) < 1e-12; });
        };
        EXPECT_TRUE(same(shown->vertical, row.vertical)) << ::testing::PrintToString(shown->vertical);
        EXPECT_TRUE(same(shown->horizontal, row.horizontal)) << ::testing::PrintToString(shown->horizontal);
        moveHand(*scene, QEvent::MouseButtonRelease, from + row.by, row.keys);
        Layer after = composer().layerList.back();
        EXPECT_NEAR(after.transform.location.x, row.place.x, 1e-12);
        EXPECT_NEAR(after.transform.location.y, row.place.y, 1e-12);
        after.transform.location = before.transform.location;
        EXPECT_EQ(after, before);
    };
    for (const Row& row : shapes)
        play(row);
    editor->removeLayer();
    putPicture();
    for (const Row& row : wide)
        play(row);
}

TEST_F(ComposerDrag, OnlyItsEndIsSavedAndUndoneAtOnce)
{
    putShape({0, 0}, {0.1, 0.1});
    const std::string id = composer().layerList.back().id;
    editor->selectLayer(std::nullopt);
    const QPointF from = scene->pointAt({0, 0});

    moveHand(*scene, QEvent::MouseButtonPress, from);
    EXPECT_EQ(composer().selectedLayerId, id);
    saves = 0;
    for (int step = 0; step < 100; ++step)
        moveHand(*scene, QEvent::MouseMove, from + QPointF(step, step));
    EXPECT_EQ(saves, 0);
    EXPECT_EQ(layer(0).transform.location, CGPoint());
    moveHand(*scene, QEvent::MouseButtonRelease, from + QPointF(99, 99));
    EXPECT_EQ(saves, 1);
    EXPECT_EQ(steps().front(), "Move layer");
    EXPECT_NEAR(layer(0).transform.location.x, 0.099, 1e-12);
    editor->undo();
    EXPECT_EQ(layer(0).transform.location, CGPoint());

    struct End {
        const char* name;
        std::function<void()> act;
    };
    const End ends[] = {
        {"Esc",
         [&] {
             QKeyEvent key(QEvent::KeyPress, Qt::Key_Escape, {});
             QApplication::sendEvent(scene.get(), &key);
         }},
        {"a hand that is not steady",
         [&] {
             moveHand(*scene, QEvent::MouseButtonRelease, from);
             moveHand(*scene, QEvent::MouseButtonPress, from);
             moveHand(*scene, QEvent::MouseMove, from + QPointF(2, 0));
             moveHand(*scene, QEvent::MouseButtonRelease, from + QPointF(2, 0));
         }},
        {"the layer is gone", [&] { editor->removeLayer(); }},
    };
    for (const End& end : ends) {
        SCOPED_TRACE(end.name);
        beginDrag(*scene, from, from);
        end.act();
        moveHand(*scene, QEvent::MouseMove, from + QPointF(200, 0));
        moveHand(*scene, QEvent::MouseButtonRelease, from + QPointF(200, 0));
        EXPECT_FALSE(scene->dragged());
        EXPECT_TRUE(composer().layerList.empty() || layer(0).transform.location == CGPoint());
    }
}

TEST_F(ComposerDrag, TheSceneShowsWhatTheLibraryDraws)
{
    putShape({0, 0}, {0.1, 0.1});
    editor->changeLayer({}, layer(0).id, {}, [](Layer& stored) { stored.shape.style.fillColor = {0, 0, 1, 1}; });
    editor->changeComposition({}, [](Composer& stored) { stored.bgColor = {0, 1, 0, 1}; });
    editor->selectLayer(std::nullopt);
    const auto colorAt = [&](CGPoint place) {
        return scene->grab().toImage().pixelColor(scene->pointAt(place).toPoint());
    };
    EXPECT_EQ(colorAt({0, 0}), QColor(0, 0, 255));
    EXPECT_EQ(colorAt({0.06, 0}), QColor(0, 255, 0));
    const QPointF from = scene->pointAt({0, 0});
    beginDrag(*scene, from, from + QPointF(120, 70)); // seen while it is dragged
    EXPECT_EQ(colorAt({0, 0.002}), QColor(0, 255, 0));
    EXPECT_EQ(colorAt({0.13, 0.07}), QColor(0, 0, 255));
}

} // namespace
} // namespace zel::testing
