// zel-viewer [PICTURE, FOLDER OR ADDRESS]: looks at pictures, changes and exports them.
#include "appearance.h"
#include "main_window.h"

#include <view/desktop.h>
#include <zel/platform/foundation/console.h>
#include <zel/platform/services/services.h>

#include <QApplication>
#include <QCommandLineParser>
#include <QIcon>

int main(int count, char** arguments)
{
    QApplication application(count, arguments);
    QApplication::setApplicationName("zel-viewer");
    QApplication::setApplicationVersion(ZEL_VERSION);
    QApplication::setDesktopFileName("zel-viewer");
    QApplication::setWindowIcon(QIcon::fromTheme("zel-viewer"));
    QCommandLineParser parser;
    parser.setApplicationDescription("Shows pictures, pages and what web addresses give; turns, straightens, crops, "
                                     "exposes, sharpens and exports them.");
    parser.addPositionalArgument("PICTURE", "a picture, a PDF document, a folder or a web address", "[PICTURE]");
    parser.addHelpOption();
    parser.addVersionOption();
    parser.process(application);

    zel::Console::setSink({}); // what the library tells on the way has no reader here
    zel::Folders::setApplication("zel-viewer");
    zel::Desktop::join();
    zel::viewer::Appearance::apply(application);
    zel::viewer::MainWindow window;
    window.show();
    if (const QStringList places = parser.positionalArguments(); !places.isEmpty())
        window.open(places.first());
    return QApplication::exec();
}
