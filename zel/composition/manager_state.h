#pragma once
#include <zel/composition/manager.h>
#include <zel/composition/manager_record.h>

#include <mutex>

namespace zel {

/// How changes are told to observers: `wait` until they have been, or, in the background, leave it to the main thread.
enum class Announce { wait, later };

/// The part of a manager that work in the background holds, too.
struct ZelComposerManager::State : std::enable_shared_from_this<ZelComposerManager::State> {
    using Layer = ZelComposer::Layer;
    using Observer = std::function<void()>;

    /// Recursive: a change may ask the manager that it changes.
    mutable std::recursive_mutex mutex;
    ManagerRecord record;
    RecordText text; ///< of `record`, as it was saved last
    std::vector<std::weak_ptr<Observer>> observers;
    bool ended = false; ///< the manager is gone

    /// Null where there is none.
    [[nodiscard]] ZelComposer* composer(const std::string& id);
    [[nodiscard]] Layer* layer(const std::string& id, const std::string& composerId);

    /// Under the lock, `change` says whether it changed anything; if it did, saves, and without the lock announces.
    bool change(const std::function<bool()>& change, Announce how = Announce::wait);
    std::optional<Layer> newLayer(Layer::LayerType type, const std::string& composerId, Announce how);
    void save();
    void announce(Announce how);
};

/// For the functions beside the class.
struct ManagerAccess {
    static ZelComposerManager::State& state(const ZelComposerManager& manager) { return *manager.state_; }
    static Ref<ZelComposerManager> make(ManagerRecord record);
};

} // namespace zel
