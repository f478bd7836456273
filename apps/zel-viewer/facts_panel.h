#pragma once
#include "facts.h"

#include <QWidget>

class QVBoxLayout;

namespace zel::viewer {

/// The facts of a picture, one below the other; they can be selected and copied.
class FactsPanel : public QWidget {
    Q_OBJECT
public:
    explicit FactsPanel(QWidget* parent = nullptr);
    void setFacts(const QList<Fact>& facts);

private:
    QVBoxLayout* layout_;
};

} // namespace zel::viewer
