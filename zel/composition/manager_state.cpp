#include <zel/composition/manager_state.h>

#include <zel/composition/manager_store.h>
#include <zel/platform/foundation/threads.h>

#include <algorithm>

namespace zel {

ZelComposer* ZelComposerManager::State::composer(const std::string& id)
{
    const auto found = std::find_if(record.composerList.begin(), record.composerList.end(),
                                    [&](const ZelComposer& composer) { return composer.id == id; });
    return found == record.composerList.end() ? nullptr : &*found;
}

ZelComposer::Layer* ZelComposerManager::State::layer(const std::string& id, const std::string& composerId)
{
    ZelComposer* const owner = composer(composerId);
    if (owner == nullptr)
        return nullptr;
    const auto found = std::find_if(owner->layerList.begin(), owner->layerList.end(),
                                    [&](const Layer& layer) { return layer.id == id; });
    return found == owner->layerList.end() ? nullptr : &*found;
}

bool ZelComposerManager::State::change(const std::function<bool()>& change, Announce how)
{
    {
        const std::scoped_lock lock(mutex);
        if (!change())
            return false;
        // Under the lock, so that of two changes the later one is saved last.
        save();
    }
    tellSaved();
    announce(how);
    return true;
}

void ZelComposerManager::State::save()
{
    saveState(record, text);
}

std::optional<ZelComposer::Layer> ZelComposerManager::State::newLayer(Layer::LayerType type,
                                                                      const std::string& composerId, Announce how)
{
    Layer layer;
    layer.layerType = type;
    if (type == Layer::LayerType::text)
        layer.text.text = "Text";
    const auto append = [&] {
        ZelComposer* const owner = composer(composerId);
        if (owner != nullptr)
            owner->layerList.push_back(layer);
        return owner != nullptr;
    };
    if (!change(append, how))
        return std::nullopt;
    // An observer may have removed the composer meanwhile.
    const auto select = [&] {
        ZelComposer* const owner = composer(composerId);
        if (owner != nullptr)
            owner->selectedLayerId = layer.id;
        return owner != nullptr;
    };
    change(select, how);
    return layer;
}

void ZelComposerManager::State::announce(Announce how)
{
    const auto tell = [weak = weak_from_this()] {
        const Ref<State> state = weak.lock();
        if (!state)
            return;
        std::vector<std::weak_ptr<Observer>> listening;
        {
            const std::scoped_lock lock(state->mutex);
            if (state->ended)
                return;
            std::erase_if(state->observers, [](const auto& observer) { return observer.expired(); });
            listening = state->observers;
        }
        // Looked at again each time: an observer may end another one, or itself.
        for (const std::weak_ptr<Observer>& observer : listening)
            if (const Ref<Observer> changed = observer.lock(); changed && *changed)
                (*changed)();
    };
    if (how == Announce::wait)
        XMain::sync(tell);
    else
        XMain::execute(tell);
}

} // namespace zel
