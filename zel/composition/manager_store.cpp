#include <zel/composition/manager_store.h>

#include <zel/platform/foundation/notes.h>
#include <zel/platform/services/document_store.h>

namespace zel {
namespace {

constexpr const char* typeName = "ZelComposerManager";

std::string problemOf(std::string_view text)
{
    try {
        (void)recordOf(text);
        return {};
    } catch (const ZelDecodingError& error) {
        return error.codingPath().empty() ? error.what() : error.codingPath() + ": " + error.what();
    }
}

Ref<StoredDocument> document()
{
    return StoredDocument::ofType(typeName, problemOf);
}
NamedDocuments namedDocuments()
{
    return {typeName, problemOf};
}

/// Absent, with the reason noted, for figures that have no JSON form.
template <class MakeText>
std::optional<std::string> savedForm(const MakeText& makeText)
{
    try {
        return makeText();
    } catch (const ZelEncodingError& error) {
        return fail(ZelFailureCode::invalidArgument, "save",
                    "the composers are not saved: " + error.codingPath() + ": " + error.what());
    }
}

struct SaveObserver {
    std::mutex mutex;
    std::function<void()> saved;
};
// Never destroyed: the background may still save while the process ends.
SaveObserver& saveObserver()
{
    static SaveObserver& instance = *new SaveObserver;
    return instance;
}

} // namespace

void saveState(const ManagerRecord& record, RecordText& text)
{
    std::optional<std::string> form = savedForm([&] { return text.of(record); });
    if (const Ref<StoredDocument> stored = form ? document() : nullptr)
        stored->save(std::move(*form));
}

void tellSaved()
{
    std::function<void()> saved;
    {
        const std::scoped_lock lock(saveObserver().mutex);
        saved = saveObserver().saved;
    }
    if (saved)
        saved();
}

void ZelComposerManager::save()
{
    {
        const std::scoped_lock lock(state_->mutex);
        state_->save();
    }
    tellSaved();
}

void ZelComposerManager::setSaveObserver(std::function<void()> saved)
{
    const std::scoped_lock lock(saveObserver().mutex);
    saveObserver().saved = std::move(saved);
}

void ZelComposerManager::flush()
{
    if (const Ref<StoredDocument> stored = document())
        stored->flush();
}

Ref<ZelComposerManager> ZelComposerManager::load()
{
    const Ref<StoredDocument> stored = document();
    const std::optional<std::string> text = stored ? stored->load() : std::nullopt;
    return text ? ManagerAccess::make(recordOf(*text)) : nullptr;
}

void ZelComposerManager::saveConfiguration(ConfigurationName name)
{
    std::optional<std::string> text;
    {
        const std::scoped_lock lock(state_->mutex);
        text = savedForm([&] { return textOf(state_->record); });
    }
    if (text)
        namedDocuments().save(name.withName, *text);
}

std::map<std::string, Ref<ZelComposerManager>> ZelComposerManager::configurations()
{
    std::map<std::string, Ref<ZelComposerManager>> managers;
    for (const auto& [name, text] : namedDocuments().all())
        managers.emplace(name, ManagerAccess::make(recordOf(text)));
    return managers;
}

void ZelComposerManager::deleteConfiguration(ConfigurationName name)
{
    namedDocuments().remove(name.withName);
}

} // namespace zel
