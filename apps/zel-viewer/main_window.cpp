#include "main_window.h"

#include "canvas.h"
#include "colors_panel.h"
#include "edit_panel.h"
#include "export_dialog.h"
#include "facts_panel.h"
#include "film_strip.h"
#include "side_panel.h"
#include "workbench.h"

#include <QDragEnterEvent>
#include <QFileDialog>
#include <QFileInfo>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QInputDialog>
#include <QLabel>
#include <QMimeData>
#include <QScreen>
#include <QStatusBar>
#include <QUrl>

#include <algorithm>

namespace zel::viewer {
namespace {

constexpr const char* welcome = "Drop a picture or a folder here, or press O.\nF1 tells all keys.";

/// In pixels, of the largest screen that there is.
double longestScreenSide()
{
    double longest = 1024;
    for (const QScreen* screen : QGuiApplication::screens())
        longest =
            std::max(longest, std::max(screen->size().width(), screen->size().height()) * screen->devicePixelRatio());
    return longest;
}

} // namespace

MainWindow::MainWindow()
    : session_(new Session(longestScreenSide(), this)),
      canvas_(new Canvas),
      editing_(new EditPanel),
      facts_(new FactsPanel),
      colors_(new ColorsPanel),
      side_(new SidePanel),
      strip_(new FilmStrip),
      workbench_(new Workbench(*session_, *canvas_, *editing_, this)),
      where_(new QLabel),
      what_(new QLabel)
{
    setWindowTitle("Viewer");
    setAcceptDrops(true);
    resize(1200, 800);
    arrange();
    makeCommands();
    editing_->setEnabled(false);
    canvas_->setMessage(welcome);
    connect(session_, &Session::opened, this, &MainWindow::pictureOpened);
    connect(session_, &Session::busyChanged, this, &MainWindow::showState);
    connect(canvas_, &Canvas::zoomChanged, this, &MainWindow::showState);
    connect(strip_, &FilmStrip::chosen, this, &MainWindow::goTo);
    connect(workbench_, &Workbench::shown, this, [this](const Preview& preview) {
        colors_->setPicture(preview.picture);
        showState();
    });
}

MainWindow::~MainWindow()
{
    // The parts know one another: those that tell go before those that are told.
    delete workbench_;
    delete session_;
}

void MainWindow::arrange()
{
    side_->addSection("EDIT", editing_);
    side_->addSection("FACTS", facts_);
    side_->addSection("COLOURS", colors_);
    auto* middle = new QHBoxLayout;
    middle->setSpacing(0);
    middle->addWidget(canvas_, 1);
    middle->addWidget(side_);
    auto* all = new QWidget;
    auto* layout = new QVBoxLayout(all);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addLayout(middle, 1);
    layout->addWidget(strip_);
    setCentralWidget(all);
    strip_->hide();
    where_->setTextFormat(Qt::PlainText);
    statusBar()->addWidget(where_, 1);
    statusBar()->addPermanentWidget(what_);
    statusBar()->setSizeGripEnabled(false);
}

bool MainWindow::isBusy() const
{
    return session_->isBusy();
}

QString MainWindow::message() const
{
    return session_->current().message;
}

void MainWindow::open(const QString& text)
{
    if (QFileInfo(text).isDir()) {
        const FolderList list(text);
        if (list.isEmpty()) {
            canvas_->setMessage("There are no pictures in " + text + ".");
            return;
        }
        folder_ = list;
        goTo(list.place());
    } else if (const auto place = placeOf(text)) {
        folder_ = place->address.isFile() ? FolderList(pathOf(*place)) : FolderList();
        openPlace(*place);
    } else {
        canvas_->setMessage(text + " is neither a file nor an address of the web.");
    }
}

void MainWindow::openPlace(const Place& place)
{
    strip_->setVisible(folder_.size() > 1);
    strip_->setList(folder_);
    setWindowTitle(nameOf(place));
    session_->open(place);
}

void MainWindow::goTo(int placeInFolder)
{
    folder_.moveTo(placeInFolder);
    if (placeInFolder == folder_.place() && !folder_.isEmpty())
        openPlace(*placeOf(folder_.current()));
}

void MainWindow::goToPage(int page)
{
    const Opened& now = session_->current();
    if (page >= 0 && page < now.pages && page != now.place.page)
        openPlace({now.place.address, page});
}

void MainWindow::pictureOpened()
{
    facts_->setFacts(session_->current().facts);
    if (!session_->current().picture)
        colors_->setPicture(nullptr);
    showState();
}

void MainWindow::showState()
{
    const Opened& now = session_->current();
    QStringList where{nameOf(now.place)};
    if (folder_.size() > 1)
        where.append(QString("%1 of %2").arg(folder_.place() + 1).arg(folder_.size()));
    if (now.pages > 1)
        where.append(QString("page %1 of %2").arg(now.place.page + 1).arg(now.pages));
    if (now.picture && !now.message.isEmpty())
        where.append(now.message);
    where_->setText(where.join("   ·   "));

    QStringList what;
    if (session_->isBusy())
        what.append("…");
    if (now.picture) {
        const CGSize size = editedSize(workbench_->edits(), now.picture->size);
        what.append(QString("%1 × %2").arg(size.width, 0, 'f', 0).arg(size.height, 0, 'f', 0));
        what.append(QString("%1 %").arg(qRound(canvas_->zoom() * 100)));
    }
    what_->setText(what.join("   ·   "));
}

void MainWindow::askForFile()
{
    if (const QString path = QFileDialog::getOpenFileName(this, "Open", folder_.current()); !path.isEmpty())
        open(path);
}

void MainWindow::askForFolder()
{
    if (const QString path = QFileDialog::getExistingDirectory(this, "Open a folder", folder_.current());
        !path.isEmpty())
        open(path);
}

void MainWindow::askForAddress()
{
    bool isGiven = false;
    const QString text =
        QInputDialog::getText(this, "Open an address", "http: or https:", QLineEdit::Normal, "https://", &isGiven);
    if (isGiven)
        open(text);
}

void MainWindow::beginCrop()
{
    if (!side_->isShown(editing_))
        showEdits_->trigger(); // where ratio and buttons are
    workbench_->beginCrop();
}

void MainWindow::exportPicture()
{
    if (!workbench_->hasPicture())
        return;
    workbench_->endCrop(true);
    const Opened& now = session_->current();
    const QString source = now.place.address.isFile() ? pathOf(now.place) : QDir::home().filePath(nameOf(now.place));
    auto* dialog = new ExportDialog(now.picture, workbench_->edits(), source, this);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    connect(dialog, &ExportDialog::written, this,
            [this](const QString& line) { statusBar()->showMessage(line, 8000); });
    dialog->open();
}

void MainWindow::toggleFullScreen()
{
    setWindowState(windowState() ^ Qt::WindowFullScreen);
}

void MainWindow::leave()
{
    if (workbench_->isCropping())
        workbench_->endCrop(false);
    else if (isFullScreen())
        showNormal();
}

void MainWindow::showKeys()
{
    auto* dialog = new QDialog(this);
    dialog->setWindowTitle("Keys");
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    auto* layout = new QVBoxLayout(dialog);
    layout->setContentsMargins(24, 20, 24, 20);
    layout->addWidget(new QLabel(keysTable(commands_)));
    dialog->show();
}

void MainWindow::dragEnterEvent(QDragEnterEvent* event)
{
    if (event->mimeData()->hasUrls())
        event->acceptProposedAction();
}

void MainWindow::dropEvent(QDropEvent* event)
{
    const QList<QUrl> addresses = event->mimeData()->urls();
    if (addresses.isEmpty())
        return;
    event->acceptProposedAction();
    const QUrl& first = addresses.first();
    open(first.isLocalFile() ? first.toLocalFile() : QString::fromLatin1(first.toEncoded()));
}

} // namespace zel::viewer
