#pragma once
#include "commands.h"
#include "folder_list.h"
#include "place.h"

#include <QMainWindow>

class QLabel;

namespace zel::viewer {

class Canvas;
class ColorsPanel;
class EditPanel;
class FactsPanel;
class FilmStrip;
class Session;
class SidePanel;
class Workbench;

/// The window: what is open among its neighbours, and the commands. What happens to the picture is the workbench's.
class MainWindow : public QMainWindow {
    Q_OBJECT
public:
    MainWindow();
    ~MainWindow() override;

    /// A file, a folder (its first picture), or an address of the web.
    void open(const QString& text);

    [[nodiscard]] const QList<Command>& commands() const { return commands_; }
    [[nodiscard]] QString message() const; ///< what is wrong with the picture that is open; empty where nothing is
    [[nodiscard]] bool isBusy() const;     ///< something is still to be shown

protected:
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private:
    void arrange();
    void makeCommands();
    void openPlace(const Place& place);
    void goTo(int placeInFolder);
    void goToPage(int page);
    void askForFile();
    void askForFolder();
    void askForAddress();
    void beginCrop();
    void exportPicture();
    void showKeys();
    void toggleFullScreen();
    void leave();
    void pictureOpened();
    void showState();

    QList<Command> commands_;
    QAction* showEdits_ = nullptr;
    FolderList folder_;
    Session* session_;
    Canvas* canvas_;
    EditPanel* editing_;
    FactsPanel* facts_;
    ColorsPanel* colors_;
    SidePanel* side_;
    FilmStrip* strip_;
    Workbench* workbench_;
    QLabel *where_, *what_;
};

} // namespace zel::viewer
