#pragma once
#include "export_job.h"

#include <QDialog>

class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QProgressBar;
class QPushButton;
class QSpinBox;

namespace zel::viewer {

class ValueSlider;

/// Asks where and how to write the edited picture, and writes it in the background; closing it stops that.
class ExportDialog : public QDialog {
    Q_OBJECT
public:
    /// `source`: the file that is shown, next to which the result is suggested; a name is enough.
    ExportDialog(Ref<ZelImage> picture, EditChain edits, const QString& source, QWidget* parent = nullptr);

signals:
    void written(const QString& sentence);

protected:
    void reject() override;

private:
    QLayout* makeFileRow();
    QLayout* makeLimitRow();
    QLayout* makeButtons();
    [[nodiscard]] ExportOrder order() const;
    void formatChosen();
    void browse();
    void start();
    void end(const ExportResult& result);
    void showState();
    [[nodiscard]] ZelImageHelper::FileType format() const;

    Ref<ZelImage> picture_;
    EditChain edits_;
    ExportJob job_;
    QComboBox* format_;
    QLineEdit* file_;
    QCheckBox* isLimited_;
    QSpinBox* limit_;
    ValueSlider* quality_;
    QProgressBar* progress_;
    QLabel* note_;
    QPushButton *export_, *cancel_;
};

} // namespace zel::viewer
