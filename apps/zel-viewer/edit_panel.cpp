#include "edit_panel.h"

#include "value_slider.h"

#include <QComboBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

namespace zel::viewer {
namespace {

struct Ratio {
    const char* name;
    double width, height; ///< 0: the picture's own
};
constexpr Ratio ratios[] = {
    {"As the picture", 0, 0}, {"Square", 1, 1}, {"5 : 4", 5, 4}, {"4 : 3", 4, 3}, {"3 : 2", 3, 2},
    {"16 : 9", 16, 9},        {"4 : 5", 4, 5},  {"3 : 4", 3, 4}, {"2 : 3", 2, 3}, {"9 : 16", 9, 16},
};

QPushButton* makeButton(const QString& text, const QString& tip)
{
    auto* button = new QPushButton(text);
    button->setToolTip(tip);
    button->setFocusPolicy(Qt::TabFocus);
    return button;
}

QLayout* row(std::initializer_list<QWidget*> widgets)
{
    auto* layout = new QHBoxLayout;
    layout->setSpacing(8);
    for (QWidget* widget : widgets)
        layout->addWidget(widget);
    return layout;
}

} // namespace

EditPanel::EditPanel(QWidget* parent) : QWidget(parent)
{
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(14);

    QPushButton* left = makeButton("Turn left", "Shift+R");
    QPushButton* right = makeButton("Turn right", "R");
    connect(left, &QPushButton::clicked, this, [this] { emit edited(turned(chain_, -1), ""); });
    connect(right, &QPushButton::clicked, this, [this] { emit edited(turned(chain_, 1), ""); });
    layout->addLayout(row({left, right}));

    straightening_ =
        addSlider(*layout, new ValueSlider("Straighten", {-15, 15, 0.1, "°"}), &EditChain::straightening, "straighten");
    exposure_ = addSlider(*layout, new ValueSlider("Exposure", {-3, 3, 0.05, " EV"}), &EditChain::exposure, "expose");
    sharpness_ =
        addSlider(*layout, new ValueSlider("Sharpness", {0, 3, 0.05, "", false}), &EditChain::sharpness, "sharpen");

    crop_ = makeButton("Crop", "C");
    connect(crop_, &QPushButton::clicked, this, &EditPanel::cropWanted);
    QPushButton* reset = makeButton("Undo all", "Ctrl+0");
    connect(reset, &QPushButton::clicked, this, &EditPanel::resetWanted);
    cropControls_ = makeCropControls();
    layout->addLayout(row({crop_, reset}));
    layout->addWidget(cropControls_);
    setCropping(false);
}

ValueSlider* EditPanel::addSlider(QLayout& layout, ValueSlider* slider, double EditChain::*field, const char* name)
{
    layout.addWidget(slider);
    connect(slider, &ValueSlider::changed, this, [this, field, name](double value) {
        chain_.*field = value;
        emit edited(chain_, name);
    });
    return slider;
}

QWidget* EditPanel::makeCropControls()
{
    auto* controls = new QWidget;
    auto* layout = new QVBoxLayout(controls);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(10);
    ratio_ = new QComboBox;
    ratio_->setFocusPolicy(Qt::TabFocus);
    for (const Ratio& ratio : ratios)
        ratio_->addItem(ratio.name);
    connect(ratio_, &QComboBox::activated, this, [this](int place) {
        const Ratio& ratio = ratios[place];
        emit ratioChosen(ratio.width > 0 ? std::optional(ratio.width / ratio.height) : std::nullopt);
    });
    auto* hint = new QLabel("Drag the frame or its corners, turn the wheel. Enter cuts, Escape leaves.");
    hint->setObjectName("quiet");
    hint->setWordWrap(true);
    QPushButton* cut = makeButton("Cut", "Enter");
    QPushButton* leave = makeButton("Leave", "Escape");
    cut->setDefault(true);
    connect(cut, &QPushButton::clicked, this, [this] { emit cropEnded(true); });
    connect(leave, &QPushButton::clicked, this, [this] { emit cropEnded(false); });
    layout->addWidget(ratio_);
    layout->addWidget(hint);
    layout->addLayout(row({cut, leave}));
    return controls;
}

void EditPanel::setChain(const EditChain& chain)
{
    chain_ = chain;
    straightening_->setValue(chain.straightening);
    exposure_->setValue(chain.exposure);
    sharpness_->setValue(chain.sharpness);
}

void EditPanel::setCropping(bool isCropping)
{
    ratio_->setCurrentIndex(0);
    crop_->setDisabled(isCropping);
    cropControls_->setVisible(isCropping);
}

} // namespace zel::viewer
