#pragma once
#include <QMap>
#include <QScrollArea>

class QVBoxLayout;

namespace zel::viewer {

/// The column beside the picture: sections with headings, each shown or hidden; it is there while one of them is.
class SidePanel : public QScrollArea {
    Q_OBJECT
public:
    explicit SidePanel(QWidget* parent = nullptr);
    void addSection(const QString& heading, QWidget* content); ///< hidden at first
    void setShown(QWidget* content, bool isShown);
    [[nodiscard]] bool isShown(QWidget* content) const;

private:
    QVBoxLayout* layout_;
    QMap<QWidget*, QWidget*> sections_; ///< by content
};

} // namespace zel::viewer
