#include "side_panel.h"

#include <QLabel>
#include <QVBoxLayout>

#include <algorithm>

namespace zel::viewer {
namespace {

constexpr int columnWidth = 288;

} // namespace

SidePanel::SidePanel(QWidget* parent) : QScrollArea(parent)
{
    setObjectName("side");
    setFixedWidth(columnWidth);
    setFrameShape(QFrame::NoFrame);
    setWidgetResizable(true);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setFocusPolicy(Qt::NoFocus);
    auto* column = new QWidget;
    layout_ = new QVBoxLayout(column);
    layout_->setContentsMargins(18, 16, 18, 16);
    layout_->setSpacing(26);
    layout_->addStretch();
    setWidget(column);
    hide();
}

void SidePanel::addSection(const QString& heading, QWidget* content)
{
    auto* section = new QWidget;
    auto* layout = new QVBoxLayout(section);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(12);
    auto* title = new QLabel(heading);
    title->setObjectName("heading");
    layout->addWidget(title);
    layout->addWidget(content);
    section->hide();
    layout_->insertWidget(layout_->count() - 1, section);
    sections_[content] = section;
}

void SidePanel::setShown(QWidget* content, bool isShown)
{
    sections_[content]->setVisible(isShown);
    setVisible(std::any_of(sections_.begin(), sections_.end(), [](QWidget* section) { return !section->isHidden(); }));
}

bool SidePanel::isShown(QWidget* content) const
{
    return !sections_[content]->isHidden();
}

} // namespace zel::viewer
