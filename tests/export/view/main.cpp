#include <view/desktop.h>
#include <view/image_view.h>

#include <QApplication>

int main(int count, char** arguments)
{
    const QApplication application(count, arguments);
    zel::ZelImageView view;
    view.setPlaceholder(zel::makeZelImage({.notBakedNormalizedSize = {20, 10}}));
    QApplication::processEvents();
    return view.image() && view.sizeHint() == QSize(20, 10) ? 0 : 1;
}
