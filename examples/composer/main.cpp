// Lays out pictures, shapes and words, and finds them again the next time.
//   composer
#include "window.h"

#include <view/desktop.h>

#include <QApplication>

int main(int count, char** arguments)
{
    const QApplication application(count, arguments);
    QApplication::setApplicationName("Composer");
    zel::Desktop::join();
    zel::Folders::setApplication("zel-composer");
    zel::Console::setSink({}); // what snapping tells of its steps
    Window window;
    window.show();
    return QApplication::exec();
}
