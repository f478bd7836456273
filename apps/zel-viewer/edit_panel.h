#pragma once
#include "edit_chain.h"

#include <QWidget>

class QComboBox;
class QLayout;
class QPushButton;

namespace zel::viewer {

class ValueSlider;

/// Sliders and buttons for the edits of a picture; for a crop in progress its ratio, and its end.
class EditPanel : public QWidget {
    Q_OBJECT
public:
    explicit EditPanel(QWidget* parent = nullptr);

    void setChain(const EditChain& chain); ///< shows it; tells nobody
    void setCropping(bool isCropping);

signals:
    /// Changes of one name that follow one another are one.
    void edited(const zel::viewer::EditChain& chain, const char* name);
    void cropWanted();
    void cropEnded(bool isApplied);
    void ratioChosen(std::optional<double> ratio); ///< width ÷ height; absent: the picture's own
    void resetWanted();

private:
    ValueSlider* addSlider(QLayout& layout, ValueSlider* slider, double EditChain::*field, const char* name);
    QWidget* makeCropControls();

    EditChain chain_;
    ValueSlider *straightening_, *exposure_, *sharpness_;
    QPushButton* crop_;
    QWidget* cropControls_;
    QComboBox* ratio_;
};

} // namespace zel::viewer
