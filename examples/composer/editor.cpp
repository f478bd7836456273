#include "editor.h"

#include <QFileInfo>
#include <QPointer>

#include <algorithm>
#include <utility>

using namespace zel;

namespace {

// What is added begins at a size that leaves room for more, and a little beside what was added just before.
constexpr double pictureScale = 0.4;
constexpr double shapeScale = 0.2;
constexpr double shift = 0.03;
constexpr std::size_t shiftsBeforeAgain = 5;
constexpr int stepsKept = 200;

std::optional<std::size_t> indexIn(const std::vector<ZelComposer>& list, const std::string& composer)
{
    const auto found =
        std::find_if(list.begin(), list.end(), [&](const ZelComposer& one) { return one.id == composer; });
    return found == list.end() ? std::nullopt : std::optional(static_cast<std::size_t>(found - list.begin()));
}

Editor::Layer* find(std::vector<ZelComposer>& list, const std::string& composer, const std::string& layer)
{
    for (ZelComposer& one : list)
        for (Editor::Layer& candidate : one.layerList)
            if (one.id == composer && candidate.id == layer)
                return &candidate;
    return nullptr;
}

} // namespace

/// The compositions before and after. They are values of a few hundred bytes a layer, pictures are only referred to.
class Editor::Step : public QUndoCommand {
public:
    Step(Editor& editor, const QString& title, QString merged, State before, State after)
        : QUndoCommand(title),
          editor_(editor),
          merged_(std::move(merged)),
          before_(std::move(before)),
          after_(std::move(after))
    {
    }
    void undo() override { editor_.restore(before_); }
    void redo() override
    {
        // The stack calls this when the step is handed to it, which has been taken then.
        if (std::exchange(taken_, false))
            return;
        editor_.restore(after_);
    }
    int id() const override { return merged_.isEmpty() ? -1 : 1; }
    bool mergeWith(const QUndoCommand* other) override
    {
        const auto& next = static_cast<const Step&>(*other);
        if (next.merged_ != merged_)
            return false;
        after_ = next.after_;
        return true;
    }

private:
    Editor& editor_;
    const QString merged_;
    const State before_;
    State after_;
    bool taken_ = true;
};

Editor::Editor(QObject* parent)
    : QObject(parent),
      manager_(makeZelComposerManager({.appName = "Composer"})),
      store_(std::make_shared<ZelShareApp>(URL::file(Folders::data().filePath() / "pictures")))
{
    if (manager_->composerList().empty()) {
        manager_->newComposer();
        renameComposition(*manager_->selectedComposerId(), tr("First composition"));
        undoStack_.clear();
    } else if (!manager_->selectedComposer()) {
        manager_->setSelectedComposerId(manager_->composerList().front().id);
    }
    undoStack_.setUndoLimit(stepsKept);
    observer_ = manager_->observe([this] {
        hasChanged_ = true;
        // A picture that is being taken in has a layer before it has its place and size: nobody needs to see that.
        if (!working_ && !busy_)
            emit changed();
    });
}

void Editor::undo()
{
    if (!busy_)
        undoStack_.undo();
}

void Editor::redo()
{
    if (!busy_)
        undoStack_.redo();
}

Editor::~Editor()
{
    manager_->flush();
}

std::optional<Editor::Layer> Editor::selectedLayer() const
{
    const std::optional<Composer> composer = current();
    const auto place = composer ? manager_->index(composer->selectedLayerId, {.of = *composer}) : std::nullopt;
    return place ? std::optional(composer->layerList[*place]) : std::nullopt;
}

// The manager announces every assignment, of which a step may make several; what listens here redraws once.
void Editor::tell(const std::function<void()>& work)
{
    hasChanged_ = false;
    working_ = true;
    work();
    working_ = false;
    if (hasChanged_)
        emit changed();
}

void Editor::step(const QString& title, const QString& merged, const std::function<void(const Composer&)>& work)
{
    const std::optional<Composer> composer = current();
    if (busy_ || !composer)
        return;
    tell([&] {
        State before = state();
        work(*composer);
        if (hasChanged_)
            undoStack_.push(new Step(*this, title, merged, std::move(before), state()));
    });
}

void Editor::restore(const State& wanted)
{
    tell([&] {
        manager_->setComposerList(wanted.list);
        if (manager_->selectedComposerId() != wanted.selected)
            manager_->setSelectedComposerId(wanted.selected);
    });
}

void Editor::newComposition()
{
    if (busy_)
        return;
    tell([&] {
        State before = state();
        manager_->newComposer();
        undoStack_.push(new Step(*this, tr("New composition"), {}, std::move(before), state()));
    });
}

void Editor::showComposition(const std::string& id)
{
    if (!busy_ && manager_->selectedComposerId() != id)
        manager_->setSelectedComposerId(id);
}

void Editor::renameComposition(const std::string& id, const QString& name)
{
    const auto place = manager_->index({.ofComposerWithId = id});
    const std::string text = name.trimmed().toStdString();
    if (!place || text.empty() || compositions()[*place].name == text)
        return;
    step(tr("Rename composition"), {}, [&](const Composer&) {
        manager_->changeComposerList([&](std::vector<Composer>& list) { list[*place].name = text; });
    });
}

void Editor::changeComposition(const QString& title, const std::function<void(Composer&)>& change)
{
    step(title, {}, [&](const Composer& composer) {
        manager_->changeComposerList([&](std::vector<Composer>& list) {
            if (const auto place = indexIn(list, composer.id))
                change(list[*place]);
        });
    });
}

void Editor::removeComposition()
{
    step(tr("Delete composition"), {}, [&](const Composer& composer) {
        const std::size_t place = manager_->index({.of = composer}).value_or(0);
        manager_->remove(composer);
        // The selection stays with what is gone; its neighbour is shown instead.
        const std::vector<Composer>& left = compositions();
        manager_->setSelectedComposerId(left.empty() ? std::nullopt
                                                     : std::optional(left[std::min(place, left.size() - 1)].id));
    });
}

void Editor::selectLayer(const std::optional<std::string>& id)
{
    const std::optional<Composer> composer = current();
    if (busy_ || !composer || composer->selectedLayerId == id)
        return;
    const auto place = manager_->index(id, {.of = *composer});
    manager_->setSelectedLayer({.to = place ? &composer->layerList[*place] : nullptr, .of = *composer});
}

void Editor::putLayer(const Layer& layer, double scale, const std::function<void(Layer&)>& prepare)
{
    const std::optional<Composer> composer = current();
    const double along = shift * static_cast<double>((composer->layerList.size() - 1) % shiftsBeforeAgain);
    manager_->changeComposerList([&](std::vector<Composer>& list) {
        if (Layer* const stored = find(list, composer->id, layer.id)) {
            stored->transform.scale = {scale, scale};
            stored->transform.location = {along, along};
            if (prepare)
                prepare(*stored);
        }
    });
}

void Editor::addShape(Layer::Shape::ShapeType type)
{
    step(tr("Add shape"), {}, [&](const Composer& composer) {
        if (const auto layer = manager_->newLayer({.ofType = Layer::LayerType::shape, .in = composer}))
            putLayer(*layer, shapeScale, [&](Layer& stored) {
                stored.shape.type = type;
                stored.shape.style.fillColor =
                    type == Layer::Shape::ShapeType::circle ? ZelColor(0.96, 0.66, 0.29) : ZelColor(0.23, 0.51, 0.78);
            });
    });
}

void Editor::addText(const QString& words)
{
    step(tr("Add text"), {}, [&](const Composer& composer) {
        if (const auto layer = manager_->newLayer({.ofType = Layer::LayerType::text, .in = composer}))
            putLayer(*layer, 1, [&](Layer& stored) { stored.text.text = words.toStdString(); });
    });
}

void Editor::addPictures(const QStringList& files)
{
    waiting_ += files;
    takeInNext();
}

void Editor::takeInNext()
{
    const std::optional<Composer> composer = current();
    if (busy_ || !composer || waiting_.isEmpty())
        return;
    busy_ = true;
    emit changed();
    // The future is waited for where waiting harms nobody: the main thread goes on drawing.
    Queue::execute({.fast = true}, [self = QPointer<Editor>(this), manager = manager_, store = store_,
                                    file = waiting_.takeFirst(), composer = *composer, before = state()] {
        const ZelReport report;
        const std::optional<Layer> layer =
            manager->newImageLayerAsShareApp(URL::file(file.toStdString()), {.shareApp = store, .in = composer}).get();
        const std::vector<ZelNote> notes = report.notes();
        const QString problem =
            QFileInfo(file).fileName() + ": " +
            (notes.empty() ? tr("cannot be taken in") : QString::fromStdString(notes.front().message));
        XMain::execute([self, before, layer, problem] {
            if (self)
                self->pictureCame(before, layer, problem);
        });
    });
}

void Editor::pictureCame(const State& before, const std::optional<Layer>& layer, const QString& problem)
{
    tell([&] {
        busy_ = false;
        hasChanged_ = true;
        if (!layer)
            return;
        putLayer(*layer, pictureScale);
        undoStack_.push(new Step(*this, tr("Add picture"), {}, before, state()));
    });
    if (!layer)
        emit failed(problem);
    takeInNext();
}

void Editor::moveLayer(const std::string& id, CGSize to, CGSize view)
{
    step(tr("Move layer"), {}, [&](const Composer& composer) {
        if (const auto place = manager_->index(id, {.of = composer}))
            manager_->updateOffset({.for_ = composer.layerList[*place], .of = composer, .to = to, .in = view});
    });
}

void Editor::nudge(double right, double down)
{
    if (const std::optional<Layer> layer = selectedLayer())
        changeLayer(tr("Move layer"), layer->id, "nudge " + QString::fromStdString(layer->id), [&](Layer& stored) {
            stored.transform.location = stored.transform.location + CGSize{right, down};
        });
}

void Editor::changeLayer(const QString& title, const std::string& id, const QString& merged,
                         const std::function<void(Layer&)>& change)
{
    step(title, merged, [&](const Composer& composer) {
        const auto place = manager_->index(id, {.of = composer});
        if (!place)
            return;
        Layer wanted = composer.layerList[*place];
        change(wanted);
        if (wanted == composer.layerList[*place])
            return;
        manager_->changeComposerList([&](std::vector<Composer>& list) {
            if (Layer* const stored = find(list, composer.id, id))
                *stored = wanted;
        });
    });
}

void Editor::duplicateLayer()
{
    const std::optional<Layer> layer = selectedLayer();
    if (!layer)
        return;
    step(tr("Duplicate layer"), {}, [&](const Composer& composer) {
        Layer copy = *layer;
        copy.transform.location = copy.transform.location + CGSize{shift, shift};
        manager_->duplicate(copy, {.of = composer});
        // The copy stands behind the one that it was made from, and is what the person goes on with.
        const std::optional<Composer> now = current();
        if (const auto place = manager_->index(*layer, {.of = *now}))
            manager_->setSelectedLayer({.to = &now->layerList[*place + 1], .of = *now});
    });
}

void Editor::removeLayer()
{
    const std::optional<Layer> layer = selectedLayer();
    if (!layer)
        return;
    step(tr("Delete layer"), {}, [&](const Composer& composer) {
        manager_->remove(*layer, {.from = composer});
        manager_->setSelectedLayer({.to = nullptr, .of = composer});
    });
}

void Editor::raiseLayer(int by)
{
    const std::optional<Layer> layer = selectedLayer();
    if (!layer)
        return;
    step(by > 0 ? tr("Bring forward") : tr("Send backward"), {}, [&](const Composer& composer) {
        const auto last = static_cast<std::ptrdiff_t>(composer.layerList.size()) - 1;
        const auto from = static_cast<std::ptrdiff_t>(manager_->index(*layer, {.of = composer}).value_or(0));
        const std::ptrdiff_t to = std::clamp<std::ptrdiff_t>(from + by, 0, last);
        if (to == from)
            return;
        manager_->changeComposerList([&](std::vector<Composer>& list) {
            const auto first = list[*indexIn(list, composer.id)].layerList.begin();
            if (from < to)
                std::rotate(first + from, first + from + 1, first + to + 1);
            else
                std::rotate(first + to, first + from, first + from + 1);
        });
    });
}
