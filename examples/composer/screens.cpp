// Plays a person who lays out a small poster, and takes a picture of the window at each station.
//   composer_screens LANDSCAPE LOGO FOLDER
#include "hand.h"
#include "scene.h"
#include "side_panel.h"
#include "window.h"

#include <view/desktop.h>

#include <QAbstractItemDelegate>
#include <QListView>
#include <QScreen>

#include <cstdlib>
#include <iostream>

using namespace zel;

namespace {

using Layer = Editor::Layer;

/// Ends the program where something does not come about.
void need(bool holds, const char* what)
{
    if (holds)
        return;
    std::cerr << "composer_screens: " << what << '\n';
    std::exit(1);
}

void settle(Window& window)
{
    need(waitUntil([&] { return !window.editor().isBusy() && !window.pictures().isWaiting(); }),
         "pictures do not come");
    for (int turn = 0; turn < 30; ++turn) { // what is painted has to reach the screen
        QApplication::processEvents();
        QThread::msleep(5);
    }
}

void take(Window& window, const QString& file)
{
    settle(window);
    need(window.screen()->grabWindow(window.winId()).save(file), "a picture of the window cannot be written");
}

void change(Editor& editor, const std::function<void(Layer&)>& how)
{
    editor.changeLayer({}, editor.selectedLayer()->id, {}, how);
}

void placeAt(Layer& layer, double x, double y, double scale)
{
    layer.transform.location = {x, y};
    layer.transform.scale = {scale, scale};
}

void addWords(Editor& editor, const QString& words, double size, double x, double y)
{
    editor.addText(words);
    change(editor, [&](Layer& layer) {
        layer.text.font = {"DejaVu Sans", size};
        placeAt(layer, x, y, 1);
    });
}

void layOut(Window& window, const QString& landscape, const QString& logo)
{
    Editor& editor = window.editor();
    editor.renameComposition(editor.current()->id, "Evening walk");
    editor.changeComposition({}, [](Editor::Composer& composer) { composer.bgColor = {0.13, 0.17, 0.22, 1}; });
    editor.addPictures({landscape});
    settle(window);
    change(editor, [](Layer& layer) { placeAt(layer, -0.17, -0.04, 0.506); });
    editor.addShape(Layer::Shape::ShapeType::rectangle);
    change(editor, [](Layer& layer) {
        placeAt(layer, 0.31, 0.135, 0.24);
        layer.transform.scale.y = 0.11;
        layer.shape.style.fillColor = {0.29, 0.47, 0.62, 1};
    });
    editor.addShape(Layer::Shape::ShapeType::circle);
    change(editor, [](Layer& layer) { placeAt(layer, 0.31, -0.13, 0.17); });
    editor.addPictures({logo});
    settle(window);
    change(editor, [](Layer& layer) { placeAt(layer, 0.31, -0.13, 0.078); });
    addWords(editor, "Evening walk", 34, 0.31, 0.01);
    addWords(editor, "Friday, 19:30", 24, 0.31, 0.135);
}

/// A second sheet, so that the list of compositions shows what it is for.
void addSecond(Editor& editor)
{
    const std::string first = editor.current()->id;
    editor.newComposition();
    editor.renameComposition(editor.current()->id, "Invitation, square");
    editor.showComposition(first);
}

const Layer& layerNamed(const Editor::Composer& composer, std::string_view words)
{
    for (const Layer& layer : composer.layerList)
        if (layer.text.text == words)
            return layer;
    need(false, "the words are not there");
    return composer.layerList.front();
}

} // namespace

int main(int count, char** arguments)
{
    const QApplication application(count, arguments);
    if (count != 4) {
        std::cerr << "composer_screens LANDSCAPE LOGO FOLDER\n";
        return 2;
    }
    const QString folder = QString::fromLocal8Bit(arguments[3]) + QLatin1Char('/');
    Desktop::join();
    Folders::setApplication("zel-composer");
    Console::setSink({});
    Window window;
    window.show();
    window.activateWindow();
    layOut(window, QString::fromLocal8Bit(arguments[1]), QString::fromLocal8Bit(arguments[2]));
    addSecond(window.editor());
    take(window, folder + "composer.png");

    // Dragged towards the left margin line, and the middle of the sheet: both are near enough to be snapped to.
    Scene& scene = window.scene();
    const Editor::Composer composer = *window.editor().current();
    const QPointF from = scene.pointAt(composer.layerList.front().transform.location);
    beginDrag(scene, from, from + QPointF(12, 30));
    take(window, folder + "dragging.png");
    moveHand(scene, QEvent::MouseButtonRelease, from + QPointF(12, 30));

    QListView& layers = *window.panel().layers();
    window.editor().selectLayer(layerNamed(composer, "Friday, 19:30").id);
    layers.setFocus();
    layers.edit(layers.currentIndex());
    take(window, folder + "renaming.png");
    window.scene().setFocus();

    bool isDone = false, isSaved = false;
    QObject::connect(&window, &Window::exported, &window, [&](bool saved) {
        isDone = true;
        isSaved = saved;
    });
    window.exportTo(folder + "exported.png");
    need(waitUntil([&] { return isDone; }) && isSaved, "the composition is not exported");
    return 0;
}
