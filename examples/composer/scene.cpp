#include "scene.h"
#include "layer_pictures.h"
#include "pixels.h"

#include <QDragEnterEvent>
#include <QMimeData>
#include <QPainter>
#include <QUrl>

#include <algorithm>
#include <cmath>

using namespace zel;

namespace {

constexpr double margin = 32;    // points around the composition
constexpr double dragBegins = 3; // points; less is a click with an unsteady hand
constexpr double least = 16;     // points; a window may be made very small
constexpr double steepest = 50;  // of ratios, which a document may hold at any value
const QColor desk(0xe6, 0xe8, 0xeb), lineColor(0xe6, 0x1e, 0x78), frameColor(0x1f, 0x6f, 0xeb);

} // namespace

Scene::Scene(Editor& editor, LayerPictures& pictures, QWidget* parent)
    : QWidget(parent), editor_(editor), pictures_(pictures)
{
    setFocusPolicy(Qt::StrongFocus);
    setAcceptDrops(true);
    setMinimumSize(320, 240);
    setAccessibleName(tr("Composition"));
    connect(&editor_, &Editor::changed, this, &Scene::drawAnew);
    connect(&pictures_, &LayerPictures::ready, this, &Scene::drawAnew);
    drawAnew();
}

QRectF Scene::page() const
{
    const double ratio = std::clamp(shown_ && shown_->ratio > 0 ? shown_->ratio : 1.0, 1 / steepest, steepest);
    const QSizeF room(std::max(least, width() - 2 * margin), std::max(least, height() - 2 * margin));
    const double across = std::max(least, std::floor(std::min(room.width(), room.height() * ratio)));
    const QSizeF size(across, across / ratio);
    return {QPointF(std::round((width() - size.width()) / 2), std::round((height() - size.height()) / 2)), size};
}

CGSize Scene::view() const
{
    return {page().width(), page().height()};
}

ZelCanvas::Size Scene::pixels() const
{
    return pixelSizeOf(*shown_, page().width() * devicePixelRatioF());
}

QPointF Scene::pointAt(CGPoint location) const
{
    const CGPoint fromCentre = deNormalize(location, {.to = view()});
    return page().center() + QPointF(fromCentre.x, fromCentre.y);
}

std::optional<Snapped> Scene::dragged() const
{
    return drag_ && drag_->moves ? std::optional(drag_->now) : std::nullopt;
}

QRectF Scene::frameOf(const Layer& layer) const
{
    const bool isDragged = drag_ && drag_->moves && drag_->layer.id == layer.id;
    const CGSize size = sizeOf(layer, *shown_) * page().width();
    QRectF frame(0, 0, size.width, size.height);
    frame.moveCenter(pointAt(isDragged ? drag_->now.at : layer.transform.location));
    return frame;
}

const Scene::Layer* Scene::layerAt(QPointF point) const
{
    const auto found = std::find_if(shown_->layerList.rbegin(), shown_->layerList.rend(),
                                    [&](const Layer& layer) { return frameOf(layer).contains(point); });
    return found == shown_->layerList.rend() ? nullptr : &*found;
}

void Scene::drawAnew()
{
    shown_ = editor_.current();
    image_ = {};
    if (shown_) {
        pictures_.setPixelsAcross(static_cast<double>(pixels().width));
        pictures_.keepOnly(*shown_);
    }
    if (drag_)
        prepareDrag();
    update();
}

Placed Scene::placed(const Layer& layer) const
{
    const double wanted = std::round(sizeOf(layer, *shown_).width * static_cast<double>(pixels().width));
    const Ref<ZelImage> picture = pictures_.picture(layer, *shown_);
    // At another size while the one for this window is being made.
    const double scale = !picture || picture->size.width == wanted ? 1 : wanted / picture->size.width;
    return {picture, layer.transform.location, scale, layer.transform.opacity};
}

void Scene::prepareDrag()
{
    const auto& layers = shown_ ? shown_->layerList : std::vector<Layer>();
    const auto own =
        std::find_if(layers.begin(), layers.end(), [&](const Layer& layer) { return layer.id == drag_->layer.id; });
    if (own == layers.end())
        return endDrag();
    std::vector<Placed> below, above;
    std::transform(layers.begin(), own, std::back_inserter(below), [&](const Layer& layer) { return placed(layer); });
    std::transform(own + 1, layers.end(), std::back_inserter(above), [&](const Layer& layer) { return placed(layer); });
    drag_->under = drawOver(drawGround(*shown_, pixels()), pixels(), below);
    drag_->over = above.empty() ? nullptr : drawOver(nullptr, pixels(), above);
}

QImage Scene::drawn() const
{
    if (drag_ && drag_->moves) {
        Placed own = placed(drag_->layer);
        own.location = drag_->now.at;
        return toQImage(drawOver(drag_->under, pixels(), {own, {.picture = drag_->over}}));
    }
    std::vector<Placed> all;
    for (const Layer& layer : shown_->layerList)
        all.push_back(placed(layer));
    return toQImage(drawOver(drawGround(*shown_, pixels()), pixels(), all));
}

void Scene::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.fillRect(rect(), desk);
    if (!shown_) {
        painter.setPen(palette().color(QPalette::Disabled, QPalette::WindowText));
        painter.drawText(rect(), Qt::AlignCenter, tr("No composition. Ctrl+N begins one."));
        return;
    }
    if (image_.isNull()) {
        image_ = drawn();
        image_.setDevicePixelRatio(devicePixelRatioF());
    }
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    for (int step = 6; step > 0; --step) {
        painter.setBrush(QColor(0, 0, 0, 9));
        painter.drawRoundedRect(page().adjusted(-step, 2 - step, step, 2 + step), step, step);
    }
    painter.drawImage(page().topLeft(), image_);
    if (drag_ && drag_->moves)
        paintLines(painter);
    paintFrame(painter);
}

void Scene::paintLines(QPainter& painter) const
{
    const QRectF area = page().adjusted(-margin / 2, -margin / 2, margin / 2, margin / 2);
    painter.setFont(QFont(font().family(), 8));
    const auto label = [&](QPointF at, double value) {
        const QString text = QString::number(value, 'f', 3);
        QRectF box(QPointF(), painter.fontMetrics().size(0, text) + QSize(8, 2));
        box.moveCenter(at);
        box.moveLeft(std::max(box.left(), 2.0)); // inside the widget
        painter.setPen(Qt::NoPen);
        painter.setBrush(lineColor);
        painter.drawRoundedRect(box, 3, 3);
        painter.setPen(Qt::white);
        painter.drawText(box, Qt::AlignCenter, text);
    };
    const QPen pen(lineColor, 1.0);
    // On the middle of a pixel a line is sharp.
    const auto sharp = [](double value) { return std::floor(value) + 0.5; };
    for (const double x : drag_->now.vertical) {
        const double at = sharp(pointAt({x, 0}).x());
        painter.setPen(pen);
        painter.drawLine(QPointF(at, area.top()), QPointF(at, area.bottom()));
        label({at, area.top()}, x);
    }
    for (const double y : drag_->now.horizontal) {
        const double at = sharp(pointAt({0, y}).y());
        painter.setPen(pen);
        painter.drawLine(QPointF(area.left(), at), QPointF(area.right(), at));
        label({area.left(), at}, y);
    }
}

void Scene::paintFrame(QPainter& painter) const
{
    const auto& layers = shown_->layerList;
    const auto selected = std::find_if(layers.begin(), layers.end(),
                                       [&](const Layer& layer) { return layer.id == shown_->selectedLayerId; });
    if (selected == layers.end())
        return;
    const QRectF frame = frameOf(*selected).adjusted(-0.5, -0.5, 0.5, 0.5);
    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(QColor(255, 255, 255, 200), 3));
    painter.drawRect(frame);
    painter.setPen(QPen(frameColor, 1.5));
    painter.drawRect(frame);
}

void Scene::resizeEvent(QResizeEvent*)
{
    drawAnew();
}

void Scene::mousePressEvent(QMouseEvent* event)
{
    if (event->button() != Qt::LeftButton || !shown_ || editor_.isBusy())
        return;
    const Layer* const layer = layerAt(event->position());
    const std::optional<Layer> taken = layer == nullptr ? std::nullopt : std::optional(*layer);
    editor_.selectLayer(taken ? std::optional(taken->id) : std::nullopt);
    if (taken)
        drag_ = Drag{.layer = *taken, .from = event->position(), .now = {taken->transform.location, {}, {}}};
}

void Scene::mouseMoveEvent(QMouseEvent* event)
{
    if (!drag_)
        return;
    const QPointF by = event->position() - drag_->from;
    if (!drag_->moves) {
        if (std::hypot(by.x(), by.y()) < dragBegins)
            return;
        drag_->moves = true;
        prepareDrag();
    }
    const CGPoint pixel = livePosition(*shown_, {.of = drag_->layer, .inSize = view(), .with = {by.x(), by.y()}});
    const CGPoint at = normalize(pixel, {.to = view()});
    const bool isFree = event->modifiers().testFlag(Qt::ControlModifier);
    drag_->now = isFree ? Snapped{at, {}, {}} : snap(*shown_, drag_->layer, at, view());
    image_ = {};
    update();
    emit draggedTo(drag_->now.at);
}

void Scene::mouseReleaseEvent(QMouseEvent* event)
{
    if (event->button() != Qt::LeftButton || !drag_)
        return;
    const Drag done = *drag_;
    endDrag();
    if (!done.moves || done.now.at == done.layer.transform.location)
        return;
    const CGPoint pixel = deNormalize(done.now.at, {.to = view()});
    editor_.moveLayer(done.layer.id, {pixel.x, pixel.y}, view());
}

void Scene::endDrag()
{
    drag_.reset();
    image_ = {};
    update();
    emit draggedTo(std::nullopt);
}

void Scene::mouseDoubleClickEvent(QMouseEvent* event)
{
    const Layer* const layer = shown_ ? layerAt(event->position()) : nullptr;
    if (layer != nullptr && layer->layerType == Layer::LayerType::text)
        emit wordsWanted();
}

void Scene::keyPressEvent(QKeyEvent* event)
{
    if (drag_) {
        if (event->key() == Qt::Key_Escape)
            endDrag();
        return;
    }
    // A point of the view, or ten.
    const double step = (event->modifiers().testFlag(Qt::ShiftModifier) ? 10 : 1) / page().width();
    switch (event->key()) {
    case Qt::Key_Left:
        return editor_.nudge(-step, 0);
    case Qt::Key_Right:
        return editor_.nudge(step, 0);
    case Qt::Key_Up:
        return editor_.nudge(0, -step);
    case Qt::Key_Down:
        return editor_.nudge(0, step);
    default:
        QWidget::keyPressEvent(event);
    }
}

void Scene::dragEnterEvent(QDragEnterEvent* event)
{
    if (event->mimeData()->hasUrls())
        event->acceptProposedAction();
}

void Scene::dropEvent(QDropEvent* event)
{
    QStringList files;
    for (const QUrl& url : event->mimeData()->urls())
        if (url.isLocalFile())
            files.append(url.toLocalFile());
    emit filesDropped(files);
    event->acceptProposedAction();
}
