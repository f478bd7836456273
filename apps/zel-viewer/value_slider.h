#pragma once
#include <QWidget>

class QLabel;
class QSlider;

namespace zel::viewer {

/// A number between two bounds, its name above and its value beside it; a double click puts it back to 0. Arrow keys
/// belong to it while it has the focus.
class ValueSlider : public QWidget {
    Q_OBJECT
public:
    struct Range {
        double low, high, step;
        QString unit;
        bool isSigned = true; ///< a plus before positive values
    };
    ValueSlider(const QString& name, const Range& range, QWidget* parent = nullptr);

    void setValue(double value); ///< tells nobody
    [[nodiscard]] double value() const;

signals:
    void changed(double value); ///< by a person

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void showValue();

    Range range_;
    QSlider* slider_;
    QLabel* text_;
};

} // namespace zel::viewer
