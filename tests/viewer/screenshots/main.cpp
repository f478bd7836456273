// viewer_screenshots PICTURES FOLDER: works the viewer by its keys and mouse on landscape.jpg of a folder, to which it
// adds a photograph's facts, and leaves pictures of its window in another.
#include <zel-viewer/appearance.h>
#include <zel-viewer/canvas.h>
#include <zel-viewer/edit_panel.h>
#include <zel-viewer/export_dialog.h>
#include <zel-viewer/main_window.h>

#include <view/desktop.h>
#include <zel/zel.h>

#include "../photograph.h"

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QTest>

#include <iostream>

namespace {

using zel::viewer::MainWindow;

/// Until nothing is computed any more, neighbours' thumbnails included.
void settle(const MainWindow& window)
{
    constexpr int patience = 20'000, still = 400; // milliseconds
    QElapsedTimer all;
    all.start();
    do
        QTest::qWait(20);
    while (window.isBusy() && all.elapsed() < patience);
    QTest::qWait(still);
}

/// The picture with what a camera tells of it.
void addFacts(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadWrite))
        return;
    const std::string taken = zel::test::PhotographFacts().in(file.readAll().toStdString());
    file.seek(0);
    file.write(taken.data(), static_cast<qint64>(taken.size()));
}

class Photographer {
public:
    Photographer(MainWindow& window, const QString& folder) : window_(window), folder_(folder) {}

    void press(int key, Qt::KeyboardModifiers with = Qt::NoModifier) { QTest::keyClick(&window_, Qt::Key(key), with); }
    void take(const char* name, QWidget* of = nullptr)
    {
        settle(window_);
        const QString path = folder_.filePath(QString("viewer-%1.png").arg(name));
        const bool isSaved = (of != nullptr ? of : &window_)->grab().save(path);
        std::cout << (isSaved ? "" : "not written: ") << path.toStdString() << '\n';
        failures += isSaved ? 0 : 1;
    }
    int failures = 0;

private:
    MainWindow& window_;
    QDir folder_;
};

} // namespace

int main(int count, char** arguments)
{
    if (count != 3) {
        std::cerr << "viewer_screenshots PICTURES FOLDER\n";
        return 2;
    }
    QApplication application(count, arguments);
    zel::Console::setSink({});
    zel::Desktop::join();
    zel::viewer::Appearance::apply(application);
    MainWindow window;
    window.show();
    window.activateWindow(); // no window manager does it on this screen
    if (!QTest::qWaitForWindowActive(&window))
        std::cerr << "the window is not active\n";
    Photographer photographer(window, arguments[2]);
    photographer.take("empty");
    const QString picture = QDir(arguments[1]).filePath("landscape.jpg");
    addFacts(picture);
    window.open(picture);
    photographer.take("fit");
    photographer.press(Qt::Key_1);
    photographer.take("zoomed");
    photographer.press(Qt::Key_F);
    photographer.press(Qt::Key_C);
    emit window.findChild<zel::viewer::EditPanel*>()->ratioChosen(16.0 / 9);
    auto* canvas = window.findChild<zel::viewer::Canvas*>();
    const QPoint middle = canvas->rect().center();
    QTest::mousePress(canvas, Qt::LeftButton, {}, middle);
    QTest::mouseMove(canvas, middle + QPoint(10, 20));
    QTest::mouseRelease(canvas, Qt::LeftButton, {}, middle + QPoint(10, 20));
    photographer.take("crop");
    photographer.press(Qt::Key_Return);
    photographer.press(Qt::Key_Period);
    photographer.press(Qt::Key_G);
    photographer.take("colours");
    photographer.press(Qt::Key_E);
    photographer.press(Qt::Key_I);
    photographer.take("facts");
    photographer.press(Qt::Key_E, Qt::ControlModifier);
    photographer.take("export", window.findChild<zel::viewer::ExportDialog*>());
    return photographer.failures == 0 ? 0 : 1;
}
