#include <composer_example/composer_fixture.h>
#include <examples/composer/drawing.h>

namespace zel::testing {
namespace {

/// What a person would tell of the layers: "image circle Text", the selected one in brackets.
std::string told(const ZelComposer& composer)
{
    std::string text;
    for (const ZelComposer::Layer& layer : composer.layerList) {
        std::string one = layer.layerType == ZelComposer::Layer::LayerType::text ? layer.text.text
                          : layer.layerType == ZelComposer::Layer::LayerType::shape
                              ? std::string(rawValue(layer.shape.type))
                              : "image";
        if (layer.id == composer.selectedLayerId)
            one = "[" + one + "]";
        text += (text.empty() ? "" : " ") + one;
    }
    return composer.name + ": " + text;
}

TEST_F(ComposerExample, EveryStepIsUndoneRedoneAndFoundAgain)
{
    const QString wide = picture("wide.png", 200, 100, {1, 0, 0, 1});
    struct Case {
        const char* step;
        std::function<void()> act;
        std::string told;
    };
    const Case cases[] = {
        {"Add picture", [&] { addPicture(wide); }, "First composition: [image]"},
        {"Add shape", [&] { editor->addShape(ShapeType::circle); }, "First composition: image [circle]"},
        {"Add text", [&] { editor->addText("Hello"); }, "First composition: image circle [Hello]"},
        {"Rename composition", [&] { editor->renameComposition(composer().id, " Poster "); },
         "Poster: image circle [Hello]"},
        {"Change words",
         [&] { editor->changeLayer("Change words", layer(2).id, {}, [](Layer& stored) { stored.text.text = "Hi"; }); },
         "Poster: image circle [Hi]"},
        {"Send backward", [&] { editor->raiseLayer(-1); }, "Poster: image [Hi] circle"},
        {"Duplicate layer", [&] { editor->duplicateLayer(); }, "Poster: image Hi [Hi] circle"},
        {"Bring forward", [&] { editor->raiseLayer(9); }, "Poster: image Hi circle [Hi]"},
        {"Delete layer", [&] { editor->removeLayer(); }, "Poster: image Hi circle"},
        {"New composition", [&] { editor->newComposition(); }, "Composer: "},
        {"Delete composition", [&] { editor->removeComposition(); }, "Poster: image Hi circle"},
    };
    const std::string before = told(composer());
    QStringList taken;
    for (const Case& row : cases) {
        row.act();
        EXPECT_EQ(told(composer()), row.told) << row.step;
        taken.prepend(row.step);
        EXPECT_EQ(steps(), taken);
    }
    const std::vector<Layer> layers = composer().layerList;
    for (std::size_t index = std::size(cases); index-- > 0;) {
        EXPECT_EQ(told(composer()), cases[index].told);
        editor->undo();
    }
    EXPECT_EQ(told(composer()), before);
    for (const Case& row : cases) {
        editor->redo();
        EXPECT_EQ(told(composer()), row.told) << row.step;
    }
    EXPECT_EQ(composer().layerList, layers);

    editor = std::make_unique<Editor>(); // closed, and opened again
    ASSERT_EQ(editor->compositions().size(), 1U);
    EXPECT_EQ(told(composer()), "Poster: image Hi circle");
    EXPECT_EQ(composer().layerList, layers);
    EXPECT_TRUE(steps().isEmpty());
    EXPECT_EQ(layer(0).image.ratio, 2);
    const auto file = editor->store()->url({.forId = *layer(0).image.resourceAccess.shareAppId}).get();
    ASSERT_TRUE(file);
    EXPECT_EQ(makeZelImage(*file)->size, (CGSize{200, 100}));
}

TEST_F(ComposerExample, StepsThatChangeNothingAreNone)
{
    const struct {
        const char* name;
        std::function<void()> act;
    } cases[] = {
        {"nothing is selected", [&] { editor->duplicateLayer(), editor->removeLayer(), editor->raiseLayer(1); }},
        {"nothing to nudge", [&] { editor->nudge(0.1, 0); }},
        {"the name that it has", [&] { editor->renameComposition(composer().id, "First composition"); }},
        {"a name of spaces", [&] { editor->renameComposition(composer().id, "  "); }},
        {"the lowest layer, lowered", [&] { editor->selectLayer(layer(0).id), editor->raiseLayer(-1); }},
        {"the same words",
         [&] { editor->changeLayer("Words", layer(0).id, {}, [](Layer& stored) { stored.text.text = "One"; }); }},
        {"no such layer",
         [&] {
             editor->moveLayer("none", {1, 1}, {10, 10});
         }},
    };
    editor->addText("One");
    editor->selectLayer(std::nullopt);
    for (const auto& row : cases) {
        row.act();
        EXPECT_EQ(steps(), QStringList{"Add text"}) << row.name;
    }
    // Arrow keys are one step while nothing else comes between.
    for (int press = 0; press < 3; ++press)
        editor->nudge(0.25, -0.125);
    EXPECT_EQ(steps(), (QStringList{"Move layer", "Add text"}));
    EXPECT_EQ(layer(0).transform.location, (CGPoint{0.75, -0.375}));
    editor->undo();
    EXPECT_EQ(layer(0).transform.location, CGPoint());
}

TEST_F(ComposerExample, WhatIsNoPictureIsToldAndLeavesNothing)
{
    folder.put("notes.txt", "no picture");
    QStringList problems;
    QObject::connect(editor.get(), &Editor::failed, [&](const QString& message) { problems.append(message); });
    const QString good = picture("good.png", 10, 10, {0, 1, 0, 1});
    const QString bad = QString::fromStdString((folder / "notes.txt").string());
    editor->addPictures({bad, good, QString::fromStdString((folder / "gone.png").string())});
    EXPECT_TRUE(editor->isBusy());
    editor->addShape(ShapeType::circle); // not while a picture comes
    ASSERT_TRUE(waitUntil([&] { return problems.size() == 2 && !editor->isBusy(); }));
    EXPECT_EQ(told(composer()), "First composition: [image]");
    EXPECT_TRUE(problems[0].startsWith("notes.txt: ")) << problems[0].toStdString();
    EXPECT_TRUE(problems[1].startsWith("gone.png: ")) << problems[1].toStdString();
    EXPECT_EQ(steps(), QStringList{"Add picture"});
}

TEST_F(ComposerExample, ExportsWhatItShows)
{
    addPicture(picture("red.png", 40, 20, {1, 0, 0, 1}));
    editor->changeLayer({}, layer(0).id, {}, [](Layer& stored) {
        stored.transform.location = {-0.25, 0.125}; // 100 × 50 pixels around (100, 162) of 400 × 225
        stored.transform.scale = {0.25, 0.25};
        stored.transform.opacity = 0.5;
    });
    editor->addShape(ShapeType::circle);
    editor->changeLayer({}, layer(1).id, {}, [](Layer& stored) {
        stored.transform.location = {0.25, -0.125}; // 80 × 40 around (300, 62)
        stored.transform.scale = {0.2, 0.1};
        stored.shape.style.fillColor = {0, 0, 1, 1};
    });
    editor->changeComposition({}, [](Composer& stored) { stored.bgColor = {0, 1, 0, 1}; });
    ASSERT_TRUE(exportComposition(composer(), *editor->store(), 400, folder.url("out.png")));
    const Ref<ZelImage> out = makeZelImage(folder.url("out.png"));
    ASSERT_TRUE(out);
    ASSERT_EQ(out->size, (CGSize{400, 225}));
    const ZelContextImage pixels(out);
    using Color = std::tuple<std::uint8_t, std::uint8_t, std::uint8_t, std::uint8_t>;
    const Color green{0, 255, 0, 255}, blue{0, 0, 255, 255};
    const struct {
        const char* name;
        ZelContextImage::Pixel at;
        Color color;
    } cases[] = {
        {"background", {5, 5}, green},
        {"the circle's middle", {300, 62}, blue},
        {"the circle's right end", {337, 62}, blue},
        {"beside it", {343, 62}, green},
        {"a corner of its box is empty", {264, 45}, green},
    };
    for (const auto& row : cases)
        EXPECT_EQ(pixels.getPixelColorComponents(row.at), row.color) << row.name;
    for (const ZelContextImage::Pixel at : {ZelContextImage::Pixel{100, 162}, {53, 140}, {147, 184}}) {
        const auto [red, greenPart, bluePart, alpha] = pixels.getPixelColorComponents(at);
        EXPECT_NEAR(red, 128, 1) << at.x; // half red, half of what lies under it
        EXPECT_NEAR(greenPart, 128, 1) << at.x;
        EXPECT_EQ(bluePart, 0);
        EXPECT_EQ(alpha, 255);
    }
    ASSERT_TRUE(exportComposition(composer(), *editor->store(), 400, folder.url("out.jpg")));
    EXPECT_TRUE(folder.text("out.jpg").starts_with("\xFF\xD8"));
    EXPECT_FALSE(exportComposition(composer(), *editor->store(), 400, folder.url("red.png/out.png")));
    EXPECT_FALSE(exportComposition(composer(), *editor->store(), 0, folder.url("empty.png")));
}

} // namespace
} // namespace zel::testing
