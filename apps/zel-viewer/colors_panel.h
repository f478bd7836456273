#pragma once
#include "newest_wins.h"

#include <zel/core/image.h>
#include <zel/platform/graphics/color.h>

#include <QColor>
#include <QWidget>

namespace zel::viewer {

/// The mean colours of a picture's parts as a grid of swatches. Pointing at one names its colour, a click copies it.
class ColorsPanel : public QWidget {
    Q_OBJECT
public:
    explicit ColorsPanel(QWidget* parent = nullptr);
    void setPicture(const Ref<ZelImage>& picture); ///< the swatches follow, made in the background

    [[nodiscard]] QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void leaveEvent(QEvent* event) override;
    void showEvent(QShowEvent* event) override;

private:
    void measure();
    [[nodiscard]] QRectF swatch(int place) const;
    [[nodiscard]] int swatchAt(QPointF at) const; ///< -1 where there is none

    Ref<ZelImage> picture_;
    bool isMeasured_ = false;
    std::vector<QColor> colors_; ///< row after row
    int columns_ = 1;
    int pointed_ = -1;
    NewestWins measuring_{NewestWins::Older::isShown};
};

} // namespace zel::viewer
