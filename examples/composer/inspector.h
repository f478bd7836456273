#pragma once
#include "editor.h"

#include <QWidget>

class QComboBox;
class QFontComboBox;
class QFormLayout;
class QLineEdit;
class QSpinBox;
class QToolButton;

/// What can be set of the composition and of the selected layer.
class Inspector : public QWidget {
    Q_OBJECT
public:
    explicit Inspector(Editor& editor, QWidget* parent = nullptr);
    void beginWords(); ///< the keyboard goes to the words of the selected layer

private:
    using Layer = Editor::Layer;
    void showAll();
    void showLayer(const Layer& layer);
    void chooseGround();
    void chooseColor();
    void change(const QString& title, const QString& merged, const std::function<void(Layer&)>& how);

    Editor& editor_;
    QFormLayout* form_;
    QComboBox* ratio_;
    QToolButton* ground_;
    QLineEdit* words_;
    QFontComboBox* font_;
    QToolButton* color_;
    QSpinBox* size_;
    QSpinBox* opacity_;
};
