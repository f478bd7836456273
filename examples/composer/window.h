#pragma once
#include "editor.h"
#include "layer_pictures.h"

#include <QMainWindow>

class QAction;
class QLabel;
class Scene;
class SidePanel;

/// The program's window: the composition, the lists beside it, what can be done above.
class Window : public QMainWindow {
    Q_OBJECT
public:
    Window();

    Editor& editor() { return editor_; }
    const LayerPictures& pictures() const { return pictures_; }
    Scene& scene() { return *scene_; }
    SidePanel& panel() { return *panel_; }
    /// In the background; `exported` follows.
    void exportTo(const QString& file);

signals:
    void exported(bool saved);

private:
    QAction* makeAction(const QString& title, const QKeySequence& keys, const std::function<void()>& act);
    void makeActions();
    void makeTools();
    void showState();
    void choosePictures();
    void chooseExport();
    void rename();

    Editor editor_;
    LayerPictures pictures_;
    Scene* scene_;
    SidePanel* panel_;
    QLabel* place_;
    QAction *newComposition_, *removeComposition_, *addPicture_, *addRectangle_, *addCircle_, *addText_, *undo_, *redo_,
        *rename_, *duplicate_, *remove_, *raise_, *lower_, *export_;
    bool isExporting_ = false;
};
