#include "facts_panel.h"

#include <QLabel>
#include <QVBoxLayout>

namespace zel::viewer {

FactsPanel::FactsPanel(QWidget* parent) : QWidget(parent), layout_(new QVBoxLayout(this))
{
    layout_->setContentsMargins(0, 0, 0, 0);
    layout_->setSpacing(2);
}

void FactsPanel::setFacts(const QList<Fact>& facts)
{
    while (QLayoutItem* item = layout_->takeAt(0)) {
        delete item->widget();
        delete item;
    }
    for (const Fact& fact : facts) {
        auto* name = new QLabel(fact.name);
        name->setObjectName("quiet");
        // What a file says of itself is shown as it stands, never as markup; long words may break anywhere.
        QString breakable = fact.value;
        breakable.replace('/', QStringLiteral("/\u200B"));
        auto* value = new QLabel(breakable);
        value->setTextFormat(Qt::PlainText);
        value->setWordWrap(true);
        value->setTextInteractionFlags(Qt::TextSelectableByMouse);
        value->setContentsMargins(0, 0, 0, 8);
        layout_->addWidget(name);
        layout_->addWidget(value);
    }
}

} // namespace zel::viewer
