#pragma once
#include <QApplication>
#include <QElapsedTimer>
#include <QMouseEvent>
#include <QThread>
#include <QWidget>

#include <functional>

// What a person does, for whoever plays one.

/// The left button goes down or up, or the mouse moves with it held down, at a place in points of the widget.
inline void moveHand(QWidget& widget, QEvent::Type what, QPointF at, Qt::KeyboardModifiers keys = {})
{
    const Qt::MouseButton button = what == QEvent::MouseMove ? Qt::NoButton : Qt::LeftButton;
    const Qt::MouseButtons held = what == QEvent::MouseButtonRelease ? Qt::NoButton : Qt::LeftButton;
    QMouseEvent event(what, at, widget.mapToGlobal(at), button, held, keys);
    QApplication::sendEvent(&widget, &event);
}

/// Presses, and drags on the way to the place in a few steps. The button stays down.
inline void beginDrag(QWidget& widget, QPointF from, QPointF to, Qt::KeyboardModifiers keys = {})
{
    moveHand(widget, QEvent::MouseButtonPress, from, keys);
    constexpr int steps = 5;
    for (int step = 1; step <= steps; ++step)
        moveHand(widget, QEvent::MouseMove, from + (to - from) * step / steps, keys);
}

/// Lets the main loop run until something holds; false after ten seconds.
inline bool waitUntil(const std::function<bool()>& holds)
{
    constexpr qint64 patience = 10'000; // milliseconds
    QElapsedTimer timer;
    timer.start();
    while (!holds()) {
        if (timer.elapsed() > patience)
            return false;
        QApplication::processEvents();
        QThread::msleep(1);
    }
    return true;
}
