#include <zel/composition/manager.h>

#include <zel/composition/manager_state.h>
#include <zel/core/image.h>
#include <zel/platform/foundation/async.h>
#include <zel/platform/foundation/identifiers.h>
#include <zel/platform/foundation/notes.h>

#include <algorithm>

namespace zel {
namespace {

std::mutex& appNameMutex()
{
    static std::mutex mutex;
    return mutex;
}
std::string& appNameText()
{
    static std::string name;
    return name;
}

} // namespace

using Layer = ZelComposer::Layer;

std::optional<std::string> ZelComposerManager::subSettings;

ZelComposerManager::ZelComposerManager() : state_(std::make_shared<State>()) {}

ZelComposerManager::~ZelComposerManager()
{
    const std::scoped_lock lock(state_->mutex);
    state_->ended = true;
}

Ref<ZelComposerManager> ManagerAccess::make(ManagerRecord record)
{
    auto manager = std::make_shared<ZelComposerManager>();
    state(*manager).record = std::move(record);
    return manager;
}

Ref<ZelComposerManager> makeZelComposerManager(ZelComposerManager::AppName name)
{
    {
        const std::scoped_lock lock(appNameMutex());
        appNameText() = std::move(name.appName);
    }
    ManagerRecord record;
    if (const Ref<ZelComposerManager> stored = ZelComposerManager::load()) {
        record.composerList = stored->composerList();
        record.selectedComposerId = stored->selectedComposerId();
    }
    return ManagerAccess::make(std::move(record));
}

std::string ZelComposerManager::appName()
{
    const std::scoped_lock lock(appNameMutex());
    return appNameText();
}

std::string ZelComposerManager::configurationName() const
{
    const std::scoped_lock lock(state_->mutex);
    return state_->record.configurationName;
}

void ZelComposerManager::setConfigurationName(const std::string& name)
{
    const std::scoped_lock lock(state_->mutex);
    state_->record.configurationName = name;
}

const std::vector<ZelComposer>& ZelComposerManager::composerList() const
{
    const std::scoped_lock lock(state_->mutex);
    return state_->record.composerList;
}

void ZelComposerManager::setComposerList(std::vector<ZelComposer> list)
{
    changeComposerList([&](std::vector<ZelComposer>& stored) { stored = std::move(list); });
}

void ZelComposerManager::changeComposerList(const std::function<void(std::vector<ZelComposer>&)>& change)
{
    state_->change([&] {
        if (change)
            change(state_->record.composerList);
        return static_cast<bool>(change);
    });
}

std::optional<std::string> ZelComposerManager::selectedComposerId() const
{
    const std::scoped_lock lock(state_->mutex);
    return state_->record.selectedComposerId;
}

void ZelComposerManager::setSelectedComposerId(std::optional<std::string> id)
{
    state_->change([&] {
        state_->record.selectedComposerId = std::move(id);
        return true;
    });
}

std::optional<ZelComposer> ZelComposerManager::selectedComposer() const
{
    const std::scoped_lock lock(state_->mutex);
    const ZelComposer* const found =
        state_->record.selectedComposerId ? state_->composer(*state_->record.selectedComposerId) : nullptr;
    return found == nullptr ? std::nullopt : std::optional(*found);
}

Ref<void> ZelComposerManager::observe(std::function<void()> changed)
{
    const auto observer = std::make_shared<State::Observer>(std::move(changed));
    const std::scoped_lock lock(state_->mutex);
    state_->observers.push_back(observer);
    return observer;
}

std::optional<std::size_t> ZelComposerManager::index(OfComposerWithId id) const
{
    const std::scoped_lock lock(state_->mutex);
    const ZelComposer* const found = state_->composer(id.ofComposerWithId);
    if (found == nullptr)
        return std::nullopt;
    return static_cast<std::size_t>(found - state_->record.composerList.data());
}

std::optional<std::size_t> ZelComposerManager::index(OfComposer composer) const
{
    return index(OfComposerWithId{composer.of.id});
}

std::optional<std::size_t> ZelComposerManager::index(const std::optional<std::string>& layerId,
                                                     OfComposer composer) const
{
    const std::scoped_lock lock(state_->mutex);
    const Layer* const found = layerId ? state_->layer(*layerId, composer.of.id) : nullptr;
    if (found == nullptr)
        return std::nullopt;
    return static_cast<std::size_t>(found - state_->composer(composer.of.id)->layerList.data());
}

std::optional<std::size_t> ZelComposerManager::index(const Layer& layer, OfComposer composer) const
{
    return index(std::optional(layer.id), composer);
}

void ZelComposerManager::newComposer()
{
    const ZelComposer composer;
    changeComposerList([&](std::vector<ZelComposer>& list) { list.push_back(composer); });
    setSelectedComposerId(composer.id);
}

// The arguments may be elements of the list itself: what is needed of them is copied before the list changes.

void ZelComposerManager::remove(const ZelComposer& composer)
{
    state_->change([&, id = composer.id] {
        return std::erase_if(state_->record.composerList, [&](const ZelComposer& one) { return one.id == id; }) > 0;
    });
}

std::optional<Layer> ZelComposerManager::newLayer(NewLayer layer)
{
    return state_->newLayer(layer.ofType, std::string(layer.in.id), Announce::wait);
}

void ZelComposerManager::remove(RemoveLayerWithId layer)
{
    state_->change([&, composerId = layer.from.id] {
        ZelComposer* const owner = state_->composer(composerId);
        return owner != nullptr &&
               std::erase_if(owner->layerList, [&](const Layer& one) { return one.id == layer.layerWithId; }) > 0;
    });
}

void ZelComposerManager::remove(const Layer& layer, FromComposer composer)
{
    remove(RemoveLayerWithId{layer.id, composer.from});
}

void ZelComposerManager::duplicate(const Layer& layer, DuplicateOf composer)
{
    Layer copy = layer;
    state_->change([&, composerId = composer.of.id] {
        ZelComposer* const owner = state_->composer(composerId);
        const Layer* const stored = state_->layer(copy.id, composerId);
        if (stored == nullptr)
            return false;
        const auto place = stored - owner->layerList.data() + 1;
        copy.id = ZelId::newId();
        owner->layerList.insert(owner->layerList.begin() + place, std::move(copy));
        return true;
    });
}

void ZelComposerManager::updateOffset(UpdateOffset move)
{
    state_->change([&] {
        Layer* const stored = state_->layer(move.for_.id, move.of.id);
        if (stored != nullptr)
            stored->transform.location = {move.to.width / move.in.width, move.to.height / move.in.width};
        return stored != nullptr;
    });
}

void ZelComposerManager::setSelectedLayer(SelectLayer selection)
{
    state_->change([&] {
        ZelComposer* const owner = state_->composer(selection.of.id);
        if (owner != nullptr)
            owner->selectedLayerId = selection.to == nullptr ? std::nullopt : std::optional(selection.to->id);
        return owner != nullptr;
    });
}

std::future<std::optional<Layer>> ZelComposerManager::newImageLayerAsShareApp(const URL& file, IngestInto where)
{
    return async([state = state_, file, store = where.shareApp, composerId = where.in.id]() -> std::optional<Layer> {
        const Ref<ZelImage> image = makeZelImage(file);
        if (!image)
            return std::nullopt;
        {
            const std::scoped_lock lock(state->mutex);
            if (state->composer(composerId) == nullptr)
                return std::nullopt;
        }
        if (!store)
            return fail(ZelFailureCode::invalidArgument, "ingest", "there is no store", file.absoluteString());
        const std::string id = store->ingestAndGetId({.fileAtUrl = file, .upload = false, .progress = {}}).get();
        if (id.empty())
            return std::nullopt;
        const std::optional<Layer> made = state->newLayer(Layer::LayerType::image, composerId, Announce::later);
        if (!made)
            return std::nullopt;
        Layer result = *made;
        // Looked up each time: the main thread goes on editing, and may remove it.
        const auto set = [&](const std::function<void(Layer&)>& assign) {
            state->change(
                [&] {
                    Layer* const stored = state->layer(made->id, composerId);
                    if (stored == nullptr)
                        return false;
                    assign(*stored);
                    result = *stored;
                    return true;
                },
                Announce::later);
        };
        set([&](Layer& layer) { layer.image.resourceAccess.shareAppId = id; });
        set([&](Layer& layer) { layer.image.ratio = image->size.width / image->size.height; });
        return result;
    });
}

template <>
std::string encode(const Ref<ZelComposerManager>& value)
{
    if (!value)
        throw ZelEncodingError({}, "there is no manager");
    const auto& state = ManagerAccess::state(*value);
    const std::scoped_lock lock(state.mutex);
    return textOf(state.record);
}

template <>
Ref<ZelComposerManager> decode(std::string_view text)
{
    return ManagerAccess::make(recordOf(text));
}

} // namespace zel
