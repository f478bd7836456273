// The viewer as a person uses it: by its keys.
#include <zel-viewer/canvas.h>
#include <zel-viewer/edit_panel.h>
#include <zel-viewer/main_window.h>
#include <zel-viewer/session.h>
#include <zel-viewer/workbench.h>

#include "viewer_pictures.h"

#include <view/desktop.h>

#include <QMimeData>
#include <QDropEvent>
#include <QStatusBar>
#include <QTest>
#include <QLabel>
#include <QUrl>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

namespace zel::viewer {
namespace {

using namespace test;
using ::testing::HasSubstr;
using zel::testing::TemporaryFolder;

class ViewerWindow : public ::testing::Test {
protected:
    void SetUp() override
    {
        Desktop::join();
        for (const auto& [name, width] :
             {std::pair("p1.png", 100), std::pair("p2.png", 200), std::pair("p10.png", 300)})
            folder_.put(name, png(gradient(width, 80)));
        folder_.put("p3.png", "damaged");
        window_.show();
        ASSERT_TRUE(QTest::qWaitForWindowActive(&window_));
    }
    void open(const std::filesystem::path& path)
    {
        window_.open(QString::fromStdString(path.string()));
        settle();
    }
    void settle()
    {
        ASSERT_TRUE(waitFor([&] { return !window_.isBusy(); }));
    }
    void press(int key, Qt::KeyboardModifiers with = Qt::NoModifier)
    {
        QTest::keyClick(&window_, static_cast<Qt::Key>(key), with);
        settle();
    }
    std::string status() const
    {
        std::string text;
        for (const QLabel* label : window_.statusBar()->findChildren<QLabel*>())
            text += label->text().toStdString() + "|";
        return text;
    }
    const EditChain& edits() const { return window_.findChild<Workbench*>()->edits(); }

    TemporaryFolder folder_;
    MainWindow window_;
};

TEST_F(ViewerWindow, GoesThroughAFolder)
{
    open(folder_.path());
    EXPECT_THAT(status(), HasSubstr("p1.png   ·   1 of 4"));
    EXPECT_THAT(status(), HasSubstr("100 × 80"));
    press(Qt::Key_Left); // the first one
    EXPECT_THAT(status(), HasSubstr("p1.png"));
    press(Qt::Key_Right);
    EXPECT_THAT(status(), HasSubstr("p2.png   ·   2 of 4"));
    press(Qt::Key_Right);
    EXPECT_THAT(window_.message().toStdString(), HasSubstr("p3.png cannot be shown"));
    press(Qt::Key_Right);
    EXPECT_THAT(status(), HasSubstr("p10.png   ·   4 of 4"));
    EXPECT_EQ(window_.message(), "");
    press(Qt::Key_Right);
    EXPECT_THAT(status(), HasSubstr("300 × 80"));
    press(Qt::Key_Home);
    EXPECT_THAT(status(), HasSubstr("p1.png"));
}

TEST_F(ViewerWindow, EditsByKeys)
{
    open(folder_ / "p2.png");
    press(Qt::Key_R);
    EXPECT_EQ(edits().quarterTurns, 1);
    EXPECT_THAT(status(), HasSubstr("80 × 200"));
    press(Qt::Key_BracketRight);
    press(Qt::Key_Period);
    EXPECT_EQ(edits(), (EditChain{.quarterTurns = 1, .straightening = 0.5, .exposure = 0.25}));
    press(Qt::Key_Z, Qt::ControlModifier);
    EXPECT_EQ(edits().exposure, 0);
    press(Qt::Key_0, Qt::ControlModifier);
    EXPECT_TRUE(edits().isEmpty());
    press(Qt::Key_R);
    press(Qt::Key_Right); // another picture is as it is
    EXPECT_TRUE(edits().isEmpty());
}

TEST_F(ViewerWindow, CropsToTheFrame)
{
    open(folder_ / "p2.png");
    press(Qt::Key_C);
    auto* panel = window_.findChild<EditPanel*>();
    ASSERT_TRUE(panel != nullptr && panel->isVisible());
    emit panel->ratioChosen(1.0);
    press(Qt::Key_Escape);
    EXPECT_TRUE(edits().isEmpty());
    press(Qt::Key_C);
    emit panel->ratioChosen(1.0);
    press(Qt::Key_Return);
    ASSERT_TRUE(edits().crop);
    EXPECT_EQ(*edits().crop, (CGRect{{0.3, 0}, {0.4, 1}})); // 80 x 80 in the middle of 200 x 80
    EXPECT_THAT(status(), HasSubstr("80 × 80"));
    press(Qt::Key_C);
    press(Qt::Key_Return); // the same frame again
    EXPECT_THAT(status(), HasSubstr("80 × 80"));
}

TEST_F(ViewerWindow, ShowsThePixelsOfThePicture)
{
    open(folder_ / "p2.png");
    auto* canvas = window_.findChild<Canvas*>();
    const QImage shown = canvas->grab().toImage();
    EXPECT_EQ(canvas->zoom(), 1); // it fits as it is
    const QPoint corner(qRound(canvas->width() / 2.0 - 100), qRound(canvas->height() / 2.0 - 40));
    const Ref<ZelImage> picture = gradient(200, 80);
    for (const QPoint at : {QPoint(0, 0), QPoint(199, 79), QPoint(120, 31)}) {
        const QColor color = shown.pixelColor(corner + at);
        const Rgba expected = pixelAt(*picture->cgImage, at.x(), at.y());
        EXPECT_EQ(color, QColor(expected[0], expected[1], expected[2])) << at.x() << " " << at.y();
    }
    press(Qt::Key_Plus);
    EXPECT_DOUBLE_EQ(canvas->zoom(), 1.25);
    press(Qt::Key_F);
    EXPECT_DOUBLE_EQ(canvas->zoom(), 1);
}

TEST_F(ViewerWindow, TakesWhatIsDropped)
{
    QMimeData data;
    data.setUrls({QUrl::fromLocalFile(QString::fromStdString((folder_ / "p10.png").string()))});
    QDragEnterEvent enter(QPoint(10, 10), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier); // or nothing drops
    QApplication::sendEvent(&window_, &enter);
    EXPECT_TRUE(enter.isAccepted());
    QDropEvent drop(QPointF(10, 10), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(&window_, &drop);
    settle();
    EXPECT_THAT(status(), HasSubstr("p10.png"));
    const TemporaryFolder empty;
    open(empty.path());
    EXPECT_THAT(status(), HasSubstr("p10.png")); // there is nothing to go to
}

TEST_F(ViewerWindow, ItsKeysAreDocumented)
{
    std::ifstream file(ZEL_VIEWER_PAGE);
    const std::string page{std::istreambuf_iterator<char>(file), {}};
    ASSERT_FALSE(page.empty());
    QStringList keys;
    for (const Command& command : window_.commands()) {
        if (!command.act)
            continue;
        EXPECT_THAT(page,
                    HasSubstr("| " + command.text.toStdString() + " | " + keysText(command).toStdString() + " |"));
        for (const QKeySequence& key : command.keys) {
            EXPECT_FALSE(keys.contains(key.toString())) << qPrintable(key.toString());
            keys.append(key.toString());
        }
    }
}

} // namespace
} // namespace zel::viewer
