#pragma once
#include "editor.h"
#include "rows_model.h"

#include <QWidget>

#include <map>

class LayerPictures;
class QListView;

/// The compositions and the layers of the one shown, the uppermost first; both are chosen by a click and renamed in
/// their place (F2). A document keeps no names of layers: renaming is for words, which are their own name.
class SidePanel : public QWidget {
    Q_OBJECT
public:
    SidePanel(Editor& editor, LayerPictures& pictures, QWidget* parent = nullptr);
    QListView* compositions() const { return compositions_; }
    QListView* layers() const { return layers_; }

private:
    using Layer = Editor::Layer;
    struct Thumb {
        zel::Ref<zel::ZelImage> of;
        QPixmap pixmap;
    };
    void showAll();
    QPixmap thumbOf(const Layer& layer, const Editor::Composer& composer);

    Editor& editor_;
    LayerPictures& pictures_;
    RowsModel compositionRows_, layerRows_;
    QListView* compositions_;
    QListView* layers_;
    std::map<std::string, Thumb> thumbs_;
    bool isShowing_ = false; ///< what is selected now is not a person's choice
};
