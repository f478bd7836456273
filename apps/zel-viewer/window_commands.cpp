// What the keys and buttons of the main window do, in the order in which they are listed.
#include "main_window.h"

#include "canvas.h"
#include "colors_panel.h"
#include "edit_panel.h"
#include "facts_panel.h"
#include "film_strip.h"
#include "session.h"
#include "side_panel.h"
#include "workbench.h"

#include <QToolBar>

namespace zel::viewer {

void MainWindow::makeCommands()
{
    const auto toggle = [this](QWidget* section) {
        return [this, section] { side_->setShown(section, !side_->isShown(section)); };
    };
    const auto page = [this](int step) { return [this, step] { goToPage(session_->current().place.page + step); }; };
    const auto neighbour = [this](int step) { return [this, step] { goTo(folder_.place() + step); }; };
    commands_ = {
        {"Open a picture", {Qt::Key_O, Qt::CTRL | Qt::Key_O}, [this] { askForFile(); }, "Open"},
        {"Open a folder", {Qt::CTRL | Qt::SHIFT | Qt::Key_O}, [this] { askForFolder(); }},
        {"Open an address", {Qt::CTRL | Qt::Key_L}, [this] { askForAddress(); }},
        gap(),
        {"Previous picture", {Qt::Key_Left, Qt::Key_P}, neighbour(-1), "◀"},
        {"Next picture", {Qt::Key_Right, Qt::Key_N}, neighbour(1), "▶"},
        {"First picture", {Qt::Key_Home}, [this] { goTo(0); }},
        {"Last picture", {Qt::Key_End}, [this] { goTo(folder_.size() - 1); }},
        {"Previous page of a document", {Qt::Key_PageUp}, page(-1)},
        {"Next page of a document", {Qt::Key_PageDown}, page(1)},
        gap(),
        {"Fit into the window", {Qt::Key_F}, [this] { canvas_->fit(); }, "Fit"},
        {"A pixel for a pixel", {Qt::Key_1}, [this] { canvas_->zoomTo(1); }, "100 %"},
        {"Larger", {Qt::Key_Plus, Qt::Key_Equal}, [this] { canvas_->zoomBy(1.25); }},
        {"Smaller", {Qt::Key_Minus}, [this] { canvas_->zoomBy(1 / 1.25); }},
        {"Full screen", {Qt::Key_F11}, [this] { toggleFullScreen(); }},
        gap(),
        {"Turn left", {Qt::SHIFT | Qt::Key_R}, [this] { workbench_->turn(-1); }, "↺"},
        {"Turn right", {Qt::Key_R}, [this] { workbench_->turn(1); }, "↻"},
        {"Straighten by half a degree, left", {Qt::Key_BracketLeft}, [this] { workbench_->straightenBy(-0.5); }},
        {"Straighten by half a degree, right", {Qt::Key_BracketRight}, [this] { workbench_->straightenBy(0.5); }},
        {"Darker by a quarter of a stop", {Qt::Key_Comma}, [this] { workbench_->exposeBy(-0.25); }},
        {"Brighter by a quarter of a stop", {Qt::Key_Period}, [this] { workbench_->exposeBy(0.25); }},
        {"Crop", {Qt::Key_C}, [this] { beginCrop(); }, "Crop"},
        {"Cut what is in the frame", {Qt::Key_Return, Qt::Key_Enter}, [this] { workbench_->endCrop(true); }},
        {"Leave the crop, or the full screen", {Qt::Key_Escape}, [this] { leave(); }},
        {"Undo", {Qt::CTRL | Qt::Key_Z}, [this] { workbench_->undo(); }},
        {"Redo", {Qt::CTRL | Qt::SHIFT | Qt::Key_Z, Qt::CTRL | Qt::Key_Y}, [this] { workbench_->redo(); }},
        {"Undo all", {Qt::CTRL | Qt::Key_0}, [this] { workbench_->reset(); }},
        gap(),
        {"Edits", {Qt::Key_E}, toggle(editing_), "Edit", true},
        {"Facts", {Qt::Key_I}, toggle(facts_), "Facts", true},
        {"Colours", {Qt::Key_G}, toggle(colors_), "Colours", true},
        gap(),
        {"Export", {Qt::CTRL | Qt::Key_E, Qt::CTRL | Qt::Key_S}, [this] { exportPicture(); }, "Export"},
        {"All keys", {Qt::Key_F1}, [this] { showKeys(); }},
        {"Quit", {Qt::Key_Q, Qt::CTRL | Qt::Key_Q}, [this] { close(); }},
    };

    QToolBar* bar = addToolBar("Commands");
    bar->setMovable(false);
    bar->setContextMenuPolicy(Qt::PreventContextMenu);
    for (const Command& command : commands_) {
        QAction* const action = makeAction(command, *this);
        if (!command.button.isEmpty() || action->isSeparator())
            bar->addAction(action);
        if (command.button == "Edit")
            showEdits_ = action;
    }
}

} // namespace zel::viewer
