#pragma once
#include <QPointF>
#include <QRectF>
#include <QSizeF>

namespace zel::viewer {

/// Where a picture lies within a view, and how large. The view is measured in pixels of the screen, the picture in
/// pixels of its own. A value.
class Viewport {
public:
    static constexpr double largestZoom = 32;

    void setView(QSizeF size);
    /// The middle of what is seen stays, as a part of the picture; a picture that was fitted is fitted again.
    void setPicture(QSizeF size);

    /// All of the picture, as large as the view allows, but never enlarged.
    void fit();
    [[nodiscard]] bool isFit() const { return isFit_; }
    /// Pixels of the screen a pixel of the picture; what lies under `anchor`, a point of the view, stays there.
    void zoomTo(double zoom, QPointF anchor);
    [[nodiscard]] double zoom() const { return zoom_; }
    /// In pixels of the screen, as far as there is picture to see.
    void pan(QPointF distance);

    [[nodiscard]] QPointF middle() const { return {view_.width() / 2, view_.height() / 2}; } ///< of the view
    /// Where the picture lies in the view: from a whole pixel on, so that pixels of the picture meet those of the
    /// screen.
    [[nodiscard]] QRectF pictureRect() const;
    [[nodiscard]] QPointF toPicture(QPointF viewPoint) const;

private:
    [[nodiscard]] double fittingZoom() const;
    void keepInside();

    QSizeF view_{1, 1}, picture_{1, 1};
    QPointF middle_; ///< the picture's point in the middle of the view
    double zoom_ = 1;
    bool isFit_ = true;
};

} // namespace zel::viewer
