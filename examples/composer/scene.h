#pragma once
#include "drawing.h"
#include "editor.h"
#include "snapping.h"

#include <QImage>
#include <QWidget>

class LayerPictures;

/// The composition as it stands, drawn by the library; layers are selected and dragged with the mouse, and snap to
/// lines that are shown meanwhile (Ctrl held: they don't; Esc: back to where it was). A drag changes nothing that is
/// kept before it ends: it is then one step.
class Scene : public QWidget {
    Q_OBJECT
public:
    Scene(Editor& editor, LayerPictures& pictures, QWidget* parent = nullptr);

    /// Where the composition lies, in points of this widget; its size is the view that snapping counts in.
    QRectF page() const;
    /// A place of the composition, in points of this widget.
    QPointF pointAt(zel::CGPoint location) const;
    /// Of the layer that is being dragged.
    std::optional<Snapped> dragged() const;

signals:
    /// The place of the layer that is dragged; absent once it is not.
    void draggedTo(std::optional<zel::CGPoint> at);
    void filesDropped(const QStringList& files);
    void wordsWanted(); ///< a double click on words

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private:
    using Composer = zel::ZelComposer;
    using Layer = Composer::Layer;
    struct Drag {
        Layer layer;  ///< as it is kept
        QPointF from; ///< where the mouse went down
        bool moves = false;
        Snapped now;
        // What lies below and above the layer is drawn once; each move puts three pictures over one another.
        zel::Ref<zel::ZelImage> under = {}, over = {};
    };

    zel::CGSize view() const;
    zel::ZelCanvas::Size pixels() const;
    Placed placed(const Layer& layer) const;
    QRectF frameOf(const Layer& layer) const;
    const Layer* layerAt(QPointF point) const;
    void prepareDrag();
    void endDrag();
    void drawAnew(); ///< with the next painting
    QImage drawn() const;
    void paintLines(QPainter& painter) const;
    void paintFrame(QPainter& painter) const;

    Editor& editor_;
    LayerPictures& pictures_;
    std::optional<Composer> shown_;
    QImage image_; ///< null: to be drawn
    std::optional<Drag> drag_;
};
