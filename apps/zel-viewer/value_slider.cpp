#include "value_slider.h"

#include <QEvent>
#include <QGridLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QSignalBlocker>
#include <QSlider>

#include <cmath>

namespace zel::viewer {
namespace {

/// Those with which a slider is moved.
bool movesSliders(const QKeyEvent& event)
{
    switch (event.key()) {
    case Qt::Key_Left:
    case Qt::Key_Right:
    case Qt::Key_Up:
    case Qt::Key_Down:
    case Qt::Key_PageUp:
    case Qt::Key_PageDown:
    case Qt::Key_Home:
    case Qt::Key_End:
        return event.modifiers() == Qt::NoModifier || event.modifiers() == Qt::KeypadModifier;
    default:
        return false;
    }
}

} // namespace

ValueSlider::ValueSlider(const QString& name, const Range& range, QWidget* parent)
    : QWidget(parent), range_(range), slider_(new QSlider(Qt::Horizontal)), text_(new QLabel)
{
    slider_->setRange(static_cast<int>(std::round(range.low / range.step)),
                      static_cast<int>(std::round(range.high / range.step)));
    slider_->setPageStep(5);
    slider_->setFocusPolicy(Qt::TabFocus);
    slider_->setAccessibleName(name);
    slider_->installEventFilter(this);
    text_->setAlignment(Qt::AlignRight);
    auto* layout = new QGridLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setVerticalSpacing(6);
    layout->addWidget(new QLabel(name), 0, 0);
    layout->addWidget(text_, 0, 1);
    layout->addWidget(slider_, 1, 0, 1, 2);
    connect(slider_, &QSlider::valueChanged, this, [this] {
        showValue();
        emit changed(value());
    });
    showValue();
}

double ValueSlider::value() const
{
    return slider_->value() * range_.step;
}

void ValueSlider::setValue(double value)
{
    const QSignalBlocker silence(slider_);
    slider_->setValue(static_cast<int>(std::round(value / range_.step)));
    showValue();
}

void ValueSlider::showValue()
{
    const int decimals = range_.step >= 1 ? 0 : range_.step >= 0.1 ? 1 : 2;
    const QString sign = range_.isSigned && slider_->value() > 0 ? "+" : "";
    text_->setText(sign + QString::number(value(), 'f', decimals) + range_.unit);
}

bool ValueSlider::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() == QEvent::MouseButtonDblClick) {
        slider_->setValue(0);
        return true;
    }
    if (event->type() == QEvent::ShortcutOverride && movesSliders(*static_cast<QKeyEvent*>(event))) {
        event->accept(); // or the key would lead to the next picture
        return true;
    }
    return QWidget::eventFilter(watched, event);
}

} // namespace zel::viewer
