#include "side_panel.h"
#include "inspector.h"
#include "layer_pictures.h"
#include "pixels.h"

#include <QItemSelectionModel>
#include <QLabel>
#include <QListView>
#include <QPainter>
#include <QScopedValueRollback>
#include <QVBoxLayout>

#include <algorithm>

using namespace zel;

namespace {

using Layer = Editor::Layer;

constexpr QSize thumbPoints(44, 30); // points

QString titleOf(const Layer& layer)
{
    switch (layer.layerType) {
    case Layer::LayerType::text:
        return QString::fromStdString(layer.text.text);
    case Layer::LayerType::shape:
        return QString::fromStdString(displayName(layer.shape.type));
    case Layer::LayerType::image:
        break;
    }
    return SidePanel::tr("Picture");
}

QLabel* heading(const QString& text)
{
    auto* label = new QLabel(text);
    QFont font = label->font();
    font.setBold(true);
    label->setFont(font);
    return label;
}

QListView* listOf(RowsModel& rows, const QString& name)
{
    auto* view = new QListView;
    view->setModel(&rows);
    view->setEditTriggers(QAbstractItemView::EditKeyPressed | QAbstractItemView::DoubleClicked);
    view->setUniformItemSizes(true);
    view->setAccessibleName(name);
    return view;
}

/// On squares, as transparent pictures are usually shown; white words and black ones can be told from them.
QPixmap framed(const QImage& picture, double pixelRatio)
{
    QPixmap pixmap(thumbPoints * pixelRatio);
    pixmap.setDevicePixelRatio(pixelRatio);
    pixmap.fill(QColor(0xa9, 0xae, 0xb5));
    QPainter painter(&pixmap);
    constexpr int square = 5;
    for (int y = 0; y < thumbPoints.height(); y += square)
        for (int x = (y / square) % 2 * square; x < thumbPoints.width(); x += 2 * square)
            painter.fillRect(x, y, square, square, QColor(0x98, 0x9d, 0xa5));
    if (!picture.isNull())
        painter.drawImage(QRect(QPoint(), thumbPoints), picture);
    painter.setPen(QColor(0, 0, 0, 50));
    painter.drawRect(QRectF(0.5, 0.5, thumbPoints.width() - 1, thumbPoints.height() - 1));
    return pixmap;
}

} // namespace

SidePanel::SidePanel(Editor& editor, LayerPictures& pictures, QWidget* parent)
    : QWidget(parent),
      editor_(editor),
      pictures_(pictures),
      compositions_(listOf(compositionRows_, tr("Compositions"))),
      layers_(listOf(layerRows_, tr("Layers")))
{
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(12, 12, 12, 12);
    column->setSpacing(6);
    column->addWidget(heading(tr("Compositions")));
    column->addWidget(compositions_, 2);
    column->addSpacing(6);
    column->addWidget(heading(tr("Layers")));
    column->addWidget(layers_, 4);
    column->addSpacing(6);
    column->addWidget(heading(tr("Properties")));
    column->addWidget(new Inspector(editor));
    layers_->setIconSize(thumbPoints);
    compositions_->setSpacing(2);
    layers_->setSpacing(1);
    setFixedWidth(286);

    connect(compositions_->selectionModel(), &QItemSelectionModel::currentChanged, this,
            [this](const QModelIndex& now) {
                if (!isShowing_)
                    editor_.showComposition(compositionRows_.idAt(now));
            });
    connect(layers_->selectionModel(), &QItemSelectionModel::currentChanged, this, [this](const QModelIndex& now) {
        if (!isShowing_)
            editor_.selectLayer(now.isValid() ? std::optional(layerRows_.idAt(now)) : std::nullopt);
    });
    connect(&compositionRows_, &RowsModel::renamed, this,
            [this](const std::string& id, const QString& name) { editor_.renameComposition(id, name); });
    connect(&layerRows_, &RowsModel::renamed, this, [this](const std::string& id, const QString& words) {
        editor_.changeLayer(tr("Change words"), id, {}, [&](Layer& layer) { layer.text.text = words.toStdString(); });
    });
    connect(&editor_, &Editor::changed, this, &SidePanel::showAll);
    connect(&pictures_, &LayerPictures::ready, this, &SidePanel::showAll);
    showAll();
}

QPixmap SidePanel::thumbOf(const Layer& layer, const Editor::Composer& composer)
{
    const Ref<ZelImage> picture = pictures_.picture(layer, composer);
    Thumb& thumb = thumbs_[layer.id];
    if (thumb.pixmap.isNull() || thumb.of != picture) {
        const double ratio = devicePixelRatioF();
        const QSizeF pixels = QSizeF(thumbPoints) * ratio;
        const Ref<ZelImage> small =
            picture ? resizeWithFit(picture, {.to = {pixels.width(), pixels.height()}}) : nullptr;
        thumb = {picture, framed(toQImage(small), ratio)};
    }
    return thumb.pixmap;
}

void SidePanel::showAll()
{
    const QScopedValueRollback showing(isShowing_, true);
    setEnabled(!editor_.isBusy());
    std::vector<RowsModel::Row> compositions, layers;
    for (const Editor::Composer& composer : editor_.compositions())
        compositions.push_back({.id = composer.id, .text = QString::fromStdString(composer.name)});
    const std::optional<Editor::Composer> shown = editor_.current();
    if (shown)
        for (auto layer = shown->layerList.rbegin(); layer != shown->layerList.rend(); ++layer)
            layers.push_back({.id = layer->id,
                              .text = titleOf(*layer),
                              .picture = thumbOf(*layer, *shown),
                              .canRename = layer->layerType == Layer::LayerType::text});
    std::erase_if(thumbs_, [&](const auto& thumb) {
        return std::none_of(layers.begin(), layers.end(), [&](const auto& row) { return row.id == thumb.first; });
    });
    compositionRows_.setRows(std::move(compositions));
    layerRows_.setRows(std::move(layers));
    compositions_->setCurrentIndex(shown ? compositionRows_.indexOf(shown->id) : QModelIndex());
    layers_->setCurrentIndex(shown && shown->selectedLayerId ? layerRows_.indexOf(*shown->selectedLayerId)
                                                             : QModelIndex());
}
