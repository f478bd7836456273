#include "inspector.h"
#include "pixels.h"

#include <QColorDialog>
#include <QComboBox>
#include <QFontComboBox>
#include <QFormLayout>
#include <QLineEdit>
#include <QPainter>
#include <QSpinBox>
#include <QToolButton>

#include <algorithm>
#include <array>
#include <cmath>

using namespace zel;

namespace {

struct Format {
    const char* name;
    double ratio;
};
constexpr std::array formats = {Format{"16 : 9", 16.0 / 9}, Format{"3 : 2", 3.0 / 2}, Format{"4 : 3", 4.0 / 3},
                                Format{"1 : 1", 1.0}, Format{"4 : 5", 4.0 / 5}};

void showColor(QToolButton& button, const QColor& color)
{
    QPixmap swatch(QSize(40, 14) * button.devicePixelRatioF());
    swatch.setDevicePixelRatio(button.devicePixelRatioF());
    swatch.fill(Qt::transparent);
    QPainter painter(&swatch);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QColor(0, 0, 0, 60));
    painter.setBrush(color);
    painter.drawRoundedRect(QRectF(0.5, 0.5, 39, 13), 3, 3);
    painter.end();
    button.setIcon(swatch);
    button.setText(color.name());
}

QToolButton* colorButton(const QString& name)
{
    auto* button = new QToolButton;
    button->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    button->setIconSize({40, 14});
    button->setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
    button->setAccessibleName(name);
    return button;
}

QSpinBox* percentBox(int least, int most)
{
    auto* box = new QSpinBox;
    box->setRange(least, most);
    box->setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
    box->setSuffix(QStringLiteral(" %"));
    box->setKeyboardTracking(false); // a figure that is being typed is none yet
    return box;
}

int percentOf(double value)
{
    return std::isfinite(value) ? static_cast<int>(std::lround(std::clamp(value, -1e4, 1e4) * 100)) : 0;
}

/// Of steps that are undone as one: the same figure of the same layer.
QString keyOf(const QString& what, const Editor::Layer& layer)
{
    return what.isEmpty() ? what : what + QLatin1Char(' ') + QString::fromStdString(layer.id);
}

} // namespace

Inspector::Inspector(Editor& editor, QWidget* parent)
    : QWidget(parent),
      editor_(editor),
      form_(new QFormLayout(this)),
      ratio_(new QComboBox),
      ground_(colorButton(tr("Background"))),
      words_(new QLineEdit),
      font_(new QFontComboBox),
      color_(colorButton(tr("Colour"))),
      size_(percentBox(1, 1000)),
      opacity_(percentBox(0, 100))
{
    form_->setContentsMargins(0, 0, 0, 0);
    form_->setFieldGrowthPolicy(QFormLayout::AllNonFixedFieldsGrow);
    form_->addRow(tr("Format"), ratio_);
    form_->addRow(tr("Background"), ground_);
    form_->addRow(tr("Words"), words_);
    form_->addRow(tr("Font"), font_);
    form_->addRow(tr("Colour"), color_);
    form_->addRow(tr("Size"), size_);
    form_->addRow(tr("Opacity"), opacity_);
    for (QWidget* field : std::initializer_list<QWidget*>{ratio_, font_})
        field->setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
    font_->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    for (const Format& format : formats)
        ratio_->addItem(QString::fromLatin1(format.name), format.ratio);

    connect(ratio_, &QComboBox::activated, this, [this](int index) {
        const double ratio = ratio_->itemData(index).toDouble();
        editor_.changeComposition(tr("Change format"), [&](Editor::Composer& composer) { composer.ratio = ratio; });
    });
    connect(ground_, &QToolButton::clicked, this, &Inspector::chooseGround);
    connect(color_, &QToolButton::clicked, this, &Inspector::chooseColor);
    connect(words_, &QLineEdit::editingFinished, this, [this] {
        change(tr("Change words"), {}, [this](Layer& layer) { layer.text.text = words_->text().toStdString(); });
    });
    connect(font_, &QFontComboBox::currentFontChanged, this, [this](const QFont& font) {
        change(tr("Change font"), QStringLiteral("font"),
               [&](Layer& layer) { layer.text.font.name = font.family().toStdString(); });
    });
    connect(size_, &QSpinBox::valueChanged, this, [this](int percent) {
        change(tr("Change size"), QStringLiteral("size"), [&](Layer& layer) {
            // Both sides by the same factor: what was stretched stays stretched.
            Layer::Transform::Scale& scale = layer.transform.scale;
            const double across = percent / 100.0;
            scale = {across, scale.x == 0 ? across : scale.y * across / scale.x};
        });
    });
    connect(opacity_, &QSpinBox::valueChanged, this, [this](int percent) {
        change(tr("Change opacity"), QStringLiteral("opacity"),
               [&](Layer& layer) { layer.transform.opacity = percent / 100.0; });
    });
    connect(&editor_, &Editor::changed, this, &Inspector::showAll);
    showAll();
}

void Inspector::beginWords()
{
    words_->setFocus();
    words_->selectAll();
}

void Inspector::showAll()
{
    const std::optional<Editor::Composer> composer = editor_.current();
    const std::optional<Layer> layer = editor_.selectedLayer();
    setEnabled(composer && !editor_.isBusy());
    if (composer) {
        int format = -1;
        for (std::size_t index = 0; index < formats.size(); ++index)
            if (std::abs(formats[index].ratio - composer->ratio) < 1e-9)
                format = static_cast<int>(index);
        ratio_->setCurrentIndex(format);
        showColor(*ground_, toQColor(composer->bgColor));
    }
    const bool isText = layer && layer->layerType == Layer::LayerType::text;
    form_->setRowVisible(words_, isText);
    form_->setRowVisible(font_, isText);
    form_->setRowVisible(color_, layer && layer->layerType != Layer::LayerType::image);
    form_->setRowVisible(size_, layer.has_value());
    form_->setRowVisible(opacity_, layer.has_value());
    if (layer)
        showLayer(*layer);
}

void Inspector::showLayer(const Layer& layer)
{
    const QSignalBlocker quiet[] = {QSignalBlocker(font_), QSignalBlocker(size_), QSignalBlocker(opacity_)};
    const QString words = QString::fromStdString(layer.text.text);
    if (words_->text() != words)
        words_->setText(words);
    font_->setCurrentFont(QFont(QString::fromStdString(layer.text.font.name)));
    showColor(*color_,
              toQColor(layer.layerType == Layer::LayerType::text ? layer.text.color : layer.shape.style.fillColor));
    size_->setValue(percentOf(layer.transform.scale.x));
    opacity_->setValue(percentOf(layer.transform.opacity));
}

void Inspector::change(const QString& title, const QString& merged, const std::function<void(Layer&)>& how)
{
    if (const std::optional<Layer> layer = editor_.selectedLayer())
        editor_.changeLayer(title, layer->id, keyOf(merged, *layer), how);
}

void Inspector::chooseGround()
{
    const std::optional<Editor::Composer> composer = editor_.current();
    if (!composer)
        return;
    const QColor chosen = QColorDialog::getColor(toQColor(composer->bgColor), this, tr("Background"));
    if (chosen.isValid())
        editor_.changeComposition(tr("Change background"),
                                  [&](Editor::Composer& changed) { changed.bgColor = fromQColor(chosen); });
}

void Inspector::chooseColor()
{
    const std::optional<Layer> layer = editor_.selectedLayer();
    if (!layer)
        return;
    const bool isText = layer->layerType == Layer::LayerType::text;
    const QColor before = toQColor(isText ? layer->text.color : layer->shape.style.fillColor);
    const QColor chosen = QColorDialog::getColor(before, this, tr("Colour"), QColorDialog::ShowAlphaChannel);
    if (!chosen.isValid())
        return;
    change(tr("Change colour"), {},
           [&](Layer& changed) { (isText ? changed.text.color : changed.shape.style.fillColor) = fromQColor(chosen); });
}
