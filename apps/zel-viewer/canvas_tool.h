#pragma once
#include "viewport.h"

#include <QPainter>

namespace zel::viewer {

/// What lies over the picture and takes the mouse first. Points are pixels of the screen within the view.
class CanvasTool {
public:
    virtual ~CanvasTool() = default;
    virtual void paint(QPainter& painter, const Viewport& viewport) = 0;
    /// Whether it takes the drag that begins there.
    virtual bool press(QPointF at, const Viewport& viewport) = 0;
    virtual void drag(QPointF to, const Viewport& viewport) = 0;
    virtual void zoom(double factor) = 0; ///< of the wheel
    [[nodiscard]] virtual Qt::CursorShape cursorAt(QPointF at, const Viewport& viewport) const = 0;
};

} // namespace zel::viewer
