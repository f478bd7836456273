#include "window.h"
#include "icons.h"
#include "inspector.h"
#include "scene.h"
#include "side_panel.h"

#include <QAction>
#include <QFileDialog>
#include <QHBoxLayout>
#include <QLabel>
#include <QListView>
#include <QMenuBar>
#include <QPointer>
#include <QStatusBar>
#include <QToolBar>

using namespace zel;

namespace {

constexpr double exportedWidth = 1920; // pixels
constexpr int messageTime = 6000;      // milliseconds

} // namespace

Window::Window() : pictures_(editor_.store())
{
    scene_ = new Scene(editor_, pictures_);
    panel_ = new SidePanel(editor_, pictures_);
    auto* centre = new QWidget;
    auto* row = new QHBoxLayout(centre);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(0);
    row->addWidget(scene_, 1);
    row->addWidget(panel_);
    setCentralWidget(centre);
    place_ = new QLabel;
    statusBar()->addPermanentWidget(place_);
    makeActions();
    makeTools();

    connect(&editor_, &Editor::changed, this, &Window::showState);
    connect(&editor_, &Editor::failed, this,
            [this](const QString& message) { statusBar()->showMessage(message, messageTime); });
    connect(&editor_.undoStack(), &QUndoStack::indexChanged, this, &Window::showState);
    connect(scene_, &Scene::filesDropped, &editor_, &Editor::addPictures);
    connect(scene_, &Scene::wordsWanted, panel_->findChild<Inspector*>(), &Inspector::beginWords);
    connect(scene_, &Scene::draggedTo, this, [this](const std::optional<CGPoint>& at) {
        place_->setText(at ? tr("x %1   y %2").arg(at->x, 0, 'f', 3).arg(at->y, 0, 'f', 3) : QString());
    });
    resize(1180, 740);
    scene_->setFocus();
    showState();
}

QAction* Window::makeAction(const QString& title, const QKeySequence& keys, const std::function<void()>& act)
{
    auto* action = new QAction(title, this);
    action->setShortcut(keys);
    connect(action, &QAction::triggered, this, act);
    return action;
}

void Window::makeActions()
{
    using ShapeType = Editor::Layer::Shape::ShapeType;
    newComposition_ = makeAction(tr("New composition"), QKeySequence::New, [this] { editor_.newComposition(); });
    removeComposition_ = makeAction(tr("Delete composition"), {}, [this] { editor_.removeComposition(); });
    addPicture_ = makeAction(tr("Picture…"), tr("Ctrl+I"), [this] { choosePictures(); });
    addRectangle_ = makeAction(tr("Rectangle"), tr("Ctrl+R"), [this] { editor_.addShape(ShapeType::rectangle); });
    addCircle_ = makeAction(tr("Circle"), tr("Ctrl+E"), [this] { editor_.addShape(ShapeType::circle); });
    addText_ = makeAction(tr("Text"), tr("Ctrl+T"), [this] { editor_.addText(tr("Text")); });
    undo_ = makeAction(tr("Undo"), QKeySequence::Undo, [this] { editor_.undo(); });
    redo_ = makeAction(tr("Redo"), QKeySequence::Redo, [this] { editor_.redo(); });
    rename_ = makeAction(tr("Rename composition"), tr("Ctrl+F2"), [this] { rename(); });
    duplicate_ = makeAction(tr("Duplicate"), tr("Ctrl+D"), [this] { editor_.duplicateLayer(); });
    remove_ = makeAction(tr("Delete"), QKeySequence::Delete, [this] { editor_.removeLayer(); });
    raise_ = makeAction(tr("Bring forward"), tr("Ctrl+Up"), [this] { editor_.raiseLayer(1); });
    lower_ = makeAction(tr("Send backward"), tr("Ctrl+Down"), [this] { editor_.raiseLayer(-1); });
    export_ = makeAction(tr("Export…"), tr("Ctrl+Shift+E"), [this] { chooseExport(); });
}

void Window::makeTools()
{
    const std::pair<QAction*, Glyph> icons[] = {
        {newComposition_, Glyph::composition},
        {addPicture_, Glyph::picture},
        {addRectangle_, Glyph::rectangle},
        {addCircle_, Glyph::circle},
        {addText_, Glyph::text},
        {duplicate_, Glyph::duplicate},
        {remove_, Glyph::remove},
        {undo_, Glyph::undo},
        {redo_, Glyph::redo},
        {export_, Glyph::exporting},
    };
    for (const auto& [action, glyph] : icons)
        action->setIcon(iconOf(glyph));
    newComposition_->setIconText(tr("New"));

    QToolBar* tools = addToolBar(tr("Tools"));
    tools->setMovable(false);
    tools->setIconSize({20, 20});
    tools->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    tools->addActions({newComposition_});
    tools->addSeparator();
    tools->addActions({addPicture_, addRectangle_, addCircle_, addText_});
    tools->addSeparator();
    tools->addActions({duplicate_, remove_});
    tools->addSeparator();
    tools->addActions({undo_, redo_});
    tools->addSeparator();
    tools->addActions({export_});

    QMenu* file = menuBar()->addMenu(tr("&Composition"));
    file->addActions({newComposition_, rename_, removeComposition_});
    file->addSeparator();
    file->addAction(export_);
    file->addSeparator();
    QAction* quit = makeAction(tr("Quit"), QKeySequence::Quit, [this] { close(); });
    file->addAction(quit);
    QMenu* edit = menuBar()->addMenu(tr("&Edit"));
    edit->addActions({undo_, redo_});
    edit->addSeparator();
    edit->addActions({duplicate_, remove_});
    edit->addSeparator();
    edit->addActions({raise_, lower_});
    menuBar()->addMenu(tr("&Add"))->addActions({addPicture_, addRectangle_, addCircle_, addText_});
}

void Window::showState()
{
    const std::optional<Editor::Composer> composer = editor_.current();
    const bool isFree = !editor_.isBusy(), hasLayer = isFree && editor_.selectedLayer().has_value();
    for (QAction* action : {removeComposition_, addPicture_, addRectangle_, addCircle_, addText_, rename_})
        action->setEnabled(isFree && composer);
    for (QAction* action : {duplicate_, remove_, raise_, lower_})
        action->setEnabled(hasLayer);
    newComposition_->setEnabled(isFree);
    undo_->setEnabled(isFree && editor_.undoStack().canUndo());
    redo_->setEnabled(isFree && editor_.undoStack().canRedo());
    undo_->setToolTip(tr("Undo: %1").arg(editor_.undoStack().undoText()));
    redo_->setToolTip(tr("Redo: %1").arg(editor_.undoStack().redoText()));
    export_->setEnabled(composer && !isExporting_);
    setWindowTitle(composer ? tr("%1 – Composer").arg(QString::fromStdString(composer->name)) : tr("Composer"));
}

void Window::choosePictures()
{
    editor_.addPictures(QFileDialog::getOpenFileNames(this, tr("Add pictures")));
}

void Window::chooseExport()
{
    const std::optional<Editor::Composer> composer = editor_.current();
    if (!composer)
        return;
    const QString file = QFileDialog::getSaveFileName(this, tr("Export"),
                                                      QString::fromStdString(composer->name) + QStringLiteral(".png"),
                                                      tr("Pictures (*.png *.jpg)"));
    if (!file.isEmpty())
        exportTo(file);
}

void Window::exportTo(const QString& file)
{
    const std::optional<Editor::Composer> composer = editor_.current();
    if (!composer || isExporting_)
        return;
    isExporting_ = true;
    showState();
    Queue::execute(
        {.fast = true}, [self = QPointer<Window>(this), composer = *composer, store = editor_.store(), file] {
            const ZelReport report;
            const bool saved = exportComposition(composer, *store, exportedWidth, URL::file(file.toStdString()));
            const std::vector<ZelNote> notes = report.notes();
            const QString message = saved           ? tr("Exported %1").arg(file)
                                    : notes.empty() ? tr("Not exported")
                                                    : QString::fromStdString(notes.front().message);
            XMain::execute([self, saved, message] {
                if (!self)
                    return;
                self->isExporting_ = false;
                self->showState();
                self->statusBar()->showMessage(message, messageTime);
                emit self->exported(saved);
            });
        });
}

void Window::rename()
{
    panel_->compositions()->setFocus();
    panel_->compositions()->edit(panel_->compositions()->currentIndex());
}
