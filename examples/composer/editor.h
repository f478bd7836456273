#pragma once
#include <zel/zel.h>

#include <QObject>
#include <QStringList>
#include <QUndoStack>

/// The compositions of one person, kept by a ZelComposerManager, and the steps of editing them. Each step is one entry
/// of the undo stack and is on the disk when it is done. `current` is the composition shown; its steps do nothing
/// where there is none. While a picture is being taken in (`isBusy`), no other step begins.
class Editor : public QObject {
    Q_OBJECT
public:
    using Composer = zel::ZelComposer;
    using Layer = Composer::Layer;

    /// Finds again what was kept in `Folders::data()`; begins with one composition where that is nothing.
    explicit Editor(QObject* parent = nullptr);
    /// On return everything is on the disk.
    ~Editor() override;

    const std::vector<Composer>& compositions() const { return manager_->composerList(); }
    std::optional<Composer> current() const { return manager_->selectedComposer(); }
    std::optional<Layer> selectedLayer() const;
    /// Where the pictures' files are.
    const zel::Ref<zel::ZelShareApp>& store() const { return store_; }
    bool isBusy() const { return busy_; }
    const QUndoStack& undoStack() const { return undoStack_; }
    void undo();
    void redo();

    void newComposition();
    void showComposition(const std::string& id);
    void renameComposition(const std::string& id, const QString& name);
    void changeComposition(const QString& title, const std::function<void(Composer&)>& change);
    void removeComposition();

    void selectLayer(const std::optional<std::string>& id);
    /// One after another, in the background; `failed` tells of those that are no pictures.
    void addPictures(const QStringList& files);
    void addShape(Layer::Shape::ShapeType type);
    void addText(const QString& words);
    /// To a place in pixels of the view, from its centre.
    void moveLayer(const std::string& id, zel::CGSize to, zel::CGSize view);
    /// The selected one, by that many composer units; steps that follow each other are undone as one.
    void nudge(double right, double down);
    /// Steps with the same `merged` key that follow each other are undone as one; an empty key never merges.
    void changeLayer(const QString& title, const std::string& id, const QString& merged,
                     const std::function<void(Layer&)>& change);
    void duplicateLayer();
    void removeLayer();
    void raiseLayer(int by); ///< negative: towards the ground

signals:
    /// After every step, undone ones included.
    void changed();
    void failed(const QString& message);

private:
    struct State {
        std::vector<Composer> list;
        std::optional<std::string> selected;
    };
    class Step;
    State state() const { return {manager_->composerList(), manager_->selectedComposerId()}; }
    void restore(const State& state);
    void step(const QString& title, const QString& merged, const std::function<void(const Composer&)>& work);
    void tell(const std::function<void()>& work);
    void putLayer(const Layer& layer, double scale, const std::function<void(Layer&)>& prepare = {});
    void takeInNext();
    void pictureCame(const State& before, const std::optional<Layer>& layer, const QString& problem);

    zel::Ref<zel::ZelComposerManager> manager_;
    zel::Ref<zel::ZelShareApp> store_;
    zel::Ref<void> observer_;
    QUndoStack undoStack_;
    QStringList waiting_;
    bool busy_ = false;
    bool working_ = false; ///< announcements are held back: `changed` follows once
    bool hasChanged_ = false;
};
