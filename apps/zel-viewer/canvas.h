#pragma once
#include "canvas_tool.h"
#include "preview.h"

#include <QWidget>

namespace zel::viewer {

/// Shows a preview, fitted or zoomed; the wheel zooms at the cursor, dragging pans, a double click changes between all
/// of the picture and its own pixels.
class Canvas : public QWidget {
    Q_OBJECT
public:
    explicit Canvas(QWidget* parent = nullptr);

    void setPreview(const Preview& preview);
    void setMessage(const QString& text); ///< instead of a picture
    /// Lies over the picture until it is told to go (null). Not owned.
    void setTool(CanvasTool* tool);

    void fit();
    void zoomTo(double zoom); ///< about the middle
    void zoomBy(double factor);
    [[nodiscard]] double zoom() const { return viewport_.zoom(); }
    /// How many pixels of the screen a picture takes that is so large.
    [[nodiscard]] CGSize shownSizeOf(CGSize picture) const;

signals:
    void zoomChanged(); ///< or the size of the view

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;

private:
    void zoomAt(double zoom, QPointF anchor);
    void changed();
    void paintPicture(QPainter& painter) const;

    Viewport viewport_;
    QImage pixels_;
    QString message_;
    CanvasTool* tool_ = nullptr;
    enum class Drag { none, pan, tool } drag_ = Drag::none;
    QPointF last_; ///< of a drag
};

} // namespace zel::viewer
