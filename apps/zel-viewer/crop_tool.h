#pragma once
#include "canvas_tool.h"
#include "crop_frame.h"

namespace zel::viewer {

/// The frame of a crop over the picture: dragged within, pulled at its corners, zoomed by the wheel.
class CropTool : public CanvasTool {
public:
    CropTool(CGSize picture, std::optional<CGRect> part) : frame_(picture, part) {}

    [[nodiscard]] CropFrame& frame() { return frame_; }

    void paint(QPainter& painter, const Viewport& viewport) override;
    bool press(QPointF at, const Viewport& viewport) override;
    void drag(QPointF to, const Viewport& viewport) override;
    void zoom(double factor) override { frame_.setZoom(frame_.zoom() * factor); }
    [[nodiscard]] Qt::CursorShape cursorAt(QPointF at, const Viewport& viewport) const override;

private:
    [[nodiscard]] QRectF shownFrame(const Viewport& viewport) const;
    [[nodiscard]] std::optional<CropFrame::Corner> cornerAt(QPointF at, const Viewport& viewport) const;

    CropFrame frame_;
    std::optional<CropFrame::Corner> corner_; ///< that is being pulled; else all of it is moved
    QPointF last_;
};

} // namespace zel::viewer
