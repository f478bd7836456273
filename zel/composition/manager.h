#pragma once
#include <zel/composition/composer.h>
#include <zel/export.h>
#include <zel/platform/services/services.h>

#include <map>

namespace zel {

/// The host's composers: the list, the selection, and the steps of editing. Every change is written to the disk at once
/// (`Folders::data()`/ZelComposerManager.json) and announced to observers on the main thread; a step that sets two
/// fields saves and announces twice. Composers and layers among the arguments only supply their identifiers, except
/// where stated; what is not in the list changes nothing, saves nothing and gives nothing.
///
/// Callers take turns with it; `newImageLayerAsShareApp` alone works beside them. Shared: make it with
/// `std::make_shared` or `makeZelComposerManager`.
///
/// Cost of a change: the text of the layers that it changed, a look at the others, the writing of the file; not the
/// wait for the disk. A state that the file holds already is not written.
///
/// JSON: {"configurationName":…,"composerList":[…],"selectedComposerId":…}, the last where one is selected.
class ZEL_API ZelComposerManager : public std::enable_shared_from_this<ZelComposerManager> {
public:
    struct AppName {
        std::string appName;
    };
    struct OfComposerWithId {
        std::string ofComposerWithId;
    };
    struct OfComposer {
        const ZelComposer& of;
    };
    struct NewLayer {
        ZelComposer::Layer::LayerType ofType;
        const ZelComposer& in;
    };
    struct RemoveLayerWithId {
        std::string layerWithId;
        const ZelComposer& from;
    };
    struct FromComposer {
        const ZelComposer& from;
    };
    struct DuplicateOf {
        const ZelComposer& of;
    };
    struct UpdateOffset {
        const ZelComposer::Layer& for_;
        const ZelComposer& of;
        CGSize to; ///< x and y in pixels of the view
        CGSize in; ///< the view; its width alone counts
    };
    struct SelectLayer {
        const ZelComposer::Layer* to; ///< null: none
        const ZelComposer& of;
    };
    struct IngestInto {
        Ref<ZelShareApp> shareApp;
        const ZelComposer& in;
    };
    struct ConfigurationName {
        std::string withName;
    };

    /// "Default", no composers, no selection; nothing is loaded.
    ZelComposerManager();
    ~ZelComposerManager();
    ZelComposerManager(const ZelComposerManager&) = delete;
    ZelComposerManager& operator=(const ZelComposerManager&) = delete;

    std::string configurationName() const;
    void setConfigurationName(const std::string& name); ///< neither saves nor announces
    /// Until the next change; not to be held while a new layer is awaited.
    const std::vector<ZelComposer>& composerList() const;
    void setComposerList(std::vector<ZelComposer> list);
    /// Changes the list or an element in place; saves and announces once, after the change.
    void changeComposerList(const std::function<void(std::vector<ZelComposer>&)>& change);
    std::optional<std::string> selectedComposerId() const;
    void setSelectedComposerId(std::optional<std::string> id);
    /// A copy; absent also where the selected one is not in the list.
    std::optional<ZelComposer> selectedComposer() const;
    /// As the last `makeZelComposerManager` was told; kept for the host.
    static std::string appName();
    static std::optional<std::string> subSettings; ///< kept for the host

    /// Called on the main thread after each change, while the manager exists; ends when the returned token goes.
    Ref<void> observe(std::function<void()> changed);

    std::optional<std::size_t> index(OfComposerWithId id) const;
    std::optional<std::size_t> index(OfComposer composer) const;
    std::optional<std::size_t> index(const std::optional<std::string>& layerId, OfComposer composer) const;
    std::optional<std::size_t> index(const ZelComposer::Layer& layer, OfComposer composer) const;

    /// Appends one and selects it: two saves.
    void newComposer();
    /// The selection stays as it is.
    void remove(const ZelComposer& composer);
    /// Appends a layer and selects it: two saves. A text layer says "Text".
    std::optional<ZelComposer::Layer> newLayer(NewLayer layer);
    /// The selection stays as it is.
    void remove(RemoveLayerWithId layer);
    void remove(const ZelComposer::Layer& layer, FromComposer composer);
    /// Puts a copy of the layer as it was passed, with a new identifier, behind the stored one.
    void duplicate(const ZelComposer::Layer& layer, DuplicateOf composer);
    void updateOffset(UpdateOffset move);
    void setSelectedLayer(SelectLayer selection);
    /// Takes the file into the store and appends a selected image layer for it, as wide and high as the picture: four
    /// saves. Works in the background and never waits for the main thread. Absent for what is no picture or cannot be
    /// taken in (noted), and where the composer has gone.
    std::future<std::optional<ZelComposer::Layer>> newImageLayerAsShareApp(const URL& file, IngestInto where);

    /// Whole or not at all; failures are noted. Nothing is written where the file holds that state already.
    void save();
    /// After every save, for hosts that mirror the state; on the thread that saved.
    static void setSaveObserver(std::function<void()> saved);
    /// What was saved is on the disk on return; else it is within a second.
    void flush();
    /// What was saved last; null where there is nothing. A damaged file is set aside, which is noted as a failure, and
    /// the last good copy used.
    static Ref<ZelComposerManager> load();
    /// A copy of this state under a name, which must be one that a file can have.
    void saveConfiguration(ConfigurationName name);
    static std::map<std::string, Ref<ZelComposerManager>> configurations();
    static void deleteConfiguration(ConfigurationName name);

private:
    friend struct ManagerAccess;
    struct State;
    Ref<State> state_;
};

/// Sets `appName` and takes over the list and the selection that were saved last.
ZEL_API Ref<ZelComposerManager> makeZelComposerManager(ZelComposerManager::AppName name);

template <>
ZEL_API std::string encode(const Ref<ZelComposerManager>& value);
template <>
ZEL_API Ref<ZelComposerManager> decode(std::string_view text);

} // namespace zel
