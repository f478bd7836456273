#pragma once
#include "folder_list.h"

#include <QList>
#include <QWidget>

namespace zel::viewer {

class Thumbnail;

/// The pictures before and after the one that is shown, as many as fit: views of the library, which load in the
/// background and share its cache.
class FilmStrip : public QWidget {
    Q_OBJECT
public:
    explicit FilmStrip(QWidget* parent = nullptr);
    void setList(const FolderList& list); ///< with the place of the picture that is shown

signals:
    void chosen(int place); ///< on the list

protected:
    void resizeEvent(QResizeEvent* event) override;

private:
    void arrange();

    FolderList list_;
    QList<Thumbnail*> thumbnails_;
};

} // namespace zel::viewer
