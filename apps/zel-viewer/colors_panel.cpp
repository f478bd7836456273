#include "colors_panel.h"

#include "appearance.h"

#include <zel/support/colors.h>

#include <QClipboard>
#include <QGuiApplication>
#include <QMouseEvent>
#include <QPainter>

#include <algorithm>
#include <cmath>

namespace zel::viewer {
namespace {

constexpr int longSide = 8; // swatches along the picture's longer side
constexpr double gap = 3;   // between swatches
constexpr double lineHeight = 24;

struct Grid {
    std::vector<QColor> colors;
    int columns = 1;
};

/// Swatches about as square as whole numbers allow.
Grid gridOf(const Ref<ZelImage>& picture)
{
    const double longer = std::max(picture->size.width, picture->size.height);
    const auto count = [&](CGFloat side) { return std::max(1.0, std::round(side / longer * longSide)); };
    const CGSize cells{count(picture->size.width), count(picture->size.height)};
    Grid grid;
    grid.columns = static_cast<int>(cells.width);
    for (const ZelColor& color : colorList(picture, {.reduceToSize = cells}))
        grid.colors.emplace_back(color.redB255(), color.greenB255(), color.blueB255());
    return grid;
}

} // namespace

ColorsPanel::ColorsPanel(QWidget* parent) : QWidget(parent)
{
    setMouseTracking(true);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

void ColorsPanel::setPicture(const Ref<ZelImage>& picture)
{
    picture_ = picture;
    isMeasured_ = false;
    if (!picture) {
        measuring_.drop();
        colors_.clear();
        updateGeometry();
        update();
    } else if (isVisible()) {
        measure();
    }
}

void ColorsPanel::showEvent(QShowEvent*)
{
    if (picture_ && !isMeasured_)
        measure();
}

void ColorsPanel::measure()
{
    isMeasured_ = true;
    measuring_.run([this, picture = picture_]() -> NewestWins::Finish {
        return [this, grid = gridOf(picture)] {
            colors_ = grid.colors;
            columns_ = grid.columns;
            pointed_ = -1;
            updateGeometry();
            update();
        };
    });
}

QSize ColorsPanel::sizeHint() const
{
    const int rows = static_cast<int>(colors_.size()) / columns_;
    const double side = static_cast<double>(width()) / std::max(columns_, longSide * 2 / 3);
    return {240, static_cast<int>(std::ceil(side * rows + lineHeight))};
}

QRectF ColorsPanel::swatch(int place) const
{
    const double side = (width() + gap) / std::max(columns_, longSide * 2 / 3);
    return {place % columns_ * side, place / columns_ * side, side - gap, side - gap};
}

int ColorsPanel::swatchAt(QPointF at) const
{
    for (int place = 0; place < static_cast<int>(colors_.size()); ++place)
        if (swatch(place).contains(at))
            return place;
    return -1;
}

void ColorsPanel::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    for (int place = 0; place < static_cast<int>(colors_.size()); ++place) {
        painter.setBrush(colors_[static_cast<std::size_t>(place)]);
        painter.setPen(place == pointed_ ? QPen(Appearance::accent, 2) : QPen(Qt::NoPen));
        painter.drawRoundedRect(swatch(place), 3, 3);
    }
    const QRectF line(0, height() - lineHeight, width(), lineHeight);
    painter.setPen(Appearance::quietText);
    painter.drawText(line, Qt::AlignLeft | Qt::AlignVCenter,
                     pointed_ < 0 ? QString("Point at a colour, click to copy it.")
                                  : colors_[static_cast<std::size_t>(pointed_)].name());
}

void ColorsPanel::mouseMoveEvent(QMouseEvent* event)
{
    pointed_ = swatchAt(event->position());
    update();
}

void ColorsPanel::mousePressEvent(QMouseEvent* event)
{
    if (const int place = swatchAt(event->position()); place >= 0)
        QGuiApplication::clipboard()->setText(colors_[static_cast<std::size_t>(place)].name());
}

void ColorsPanel::leaveEvent(QEvent*)
{
    pointed_ = -1;
    update();
}

} // namespace zel::viewer
