#pragma once
#include <zel/zel.h>

#include <QApplication>
#include <QImage>
#include <QThread>
#include <QWidget>

#include <chrono>
#include <common/pictures.h>
#include <functional>

namespace zel::test {

/// Lets the main loop run until something holds; false after ten seconds.
inline bool waitFor(const std::function<bool()>& holds)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!holds()) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        QApplication::processEvents();
        QThread::msleep(1);
    }
    return true;
}

inline void runWaitingTasks()
{
    QApplication::sendPostedEvents();
    QApplication::processEvents();
}

/// What a view draws, over nothing.
inline QImage drawn(QWidget& view)
{
    const double scale = view.devicePixelRatioF();
    QImage image((QSizeF(view.size()) * scale).toSize(), QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(scale);
    image.fill(Qt::transparent);
    view.render(&image, QPoint(), QRegion(), QWidget::DrawChildren);
    return image;
}

inline Ref<ZelImage> flatImage(int width, int height, Rgba color)
{
    return makeZelImage(flat(width, height, color));
}

inline std::string png(const Ref<ZelImage>& image)
{
    const auto data = pngData(image);
    return data ? std::string(data->span().begin(), data->span().end()) : std::string();
}

} // namespace zel::test
