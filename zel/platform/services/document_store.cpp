#include <zel/platform/services/document_store.h>

#include <zel/platform/foundation/file_calls.h>
#include <zel/platform/foundation/folder.h>
#include <zel/platform/foundation/guards.h>
#include <zel/platform/foundation/limits.h>
#include <zel/platform/foundation/notes.h>
#include <zel/platform/foundation/threads.h>
#include <zel/platform/services/document_files.h>
#include <zel/platform/services/services.h>

#include <chrono>
#include <fcntl.h>
#include <fmt/format.h>
#include <thread>

namespace zel {
namespace {

constexpr std::string_view extension = ".json";
// Many saves share one trip to the disk.
constexpr std::chrono::milliseconds syncPause(400);

/// True, with the reason noted, for what could be written and never read back.
bool isTooLong(const std::string& text)
{
    const std::uint64_t most = ZelLimits::current().jsonBytes;
    if (text.size() <= most)
        return false;
    fail(ZelFailureCode::limit, "save",
         fmt::format("a document of {} bytes is over the limit of {} and is not saved", text.size(), most));
    return true;
}

} // namespace

Ref<StoredDocument> StoredDocument::ofType(const std::string& type, const DocumentCheck& check)
{
    const URL folder = Folders::data();
    const std::optional<std::string> path =
        folder.isEmpty() ? std::nullopt : joinPath(folder.filePath().string(), type + std::string(extension));
    if (!path)
        return fail(ZelFailureCode::notFound, "save", "there is no folder for documents of " + type);
    // Never destroyed: the background may still write while the process ends.
    static std::mutex& mutex = *new std::mutex;
    static auto& documents = *new std::map<std::string, Ref<StoredDocument>>;
    const std::scoped_lock lock(mutex);
    Ref<StoredDocument>& document = documents[*path];
    if (!document)
        document = std::make_shared<StoredDocument>(URL::file(*path), check);
    return document;
}

StoredDocument::StoredDocument(URL file, DocumentCheck check)
    : file_(std::move(file)), copy_(URL::file(file_.filePath().string() + ".bak")), check_(std::move(check))
{
}

std::optional<StoredDocument::Identity> StoredDocument::look() const
{
    struct stat facts {};
    if (fileCalls().fstatat(AT_FDCWD, file_.filePath().c_str(), &facts, 0) != 0)
        return std::nullopt;
    return Identity{facts.st_dev, facts.st_ino, facts.st_size, facts.st_mtim.tv_sec, facts.st_mtim.tv_nsec};
}

bool StoredDocument::save(std::string text)
{
    if (isTooLong(text))
        return false;
    const std::scoped_lock lock(mutex_);
    const std::optional<Identity> standing = look();
    const bool isOurs = standing && text_ && *standing == identity_;
    if (isOurs && *text_ == text)
        return true;
    if (!isOurs && !makeWayFor(standing))
        return false;
    // Until the background has made the first copy, what is replaced may be the only text on the disk.
    copyStands_ = copyStands_ || somethingStandsAt(copy_);
    if (isOurs && !copyStands_)
        keepCopy(*text_);
    if (!writeText(file_, text, false))
        return false;
    text_ = std::move(text);
    identity_ = look().value_or(Identity{});
    unsynced_ = true;
    syncSoon();
    return true;
}

/// Of a file that was not written here, or not read: nothing of it may be lost.
bool StoredDocument::makeWayFor(const std::optional<Identity>& standing)
{
    if (!standing && !somethingStandsAt(file_))
        return true;
    const std::optional<std::string> other = readText(file_);
    const std::string reason = other ? check_(*other) : "it cannot be read";
    if (!reason.empty())
        return setAside(file_, reason);
    if (text_ && *text_ != *other)
        warn(ZelFailureCode::exists, "save", "another process has saved the document; its state is replaced",
             file_.filePath().string());
    keepCopy(*other);
    return true;
}

void StoredDocument::keepCopy(const std::string& text)
{
    copyStands_ = writeText(copy_, text, true) || copyStands_;
}

std::optional<std::string> StoredDocument::load()
{
    const std::scoped_lock lock(mutex_);
    // Looked at first: what changes while it is read does not count as read.
    const std::optional<Identity> standing = look();
    if (standing) {
        if (std::optional<std::string> text = readText(file_)) {
            const std::string reason = check_(*text);
            if (reason.empty()) {
                text_ = text;
                identity_ = *standing;
                return text;
            }
            setAside(file_, reason);
        }
    }
    text_.reset();
    if (!somethingStandsAt(copy_))
        return std::nullopt;
    std::optional<std::string> text = readText(copy_);
    if (!text || !check_(*text).empty())
        return std::nullopt;
    warn(ZelFailureCode::unreadable, "load", "the last good copy is used", copy_.filePath().string());
    return text;
}

void StoredDocument::syncSoon()
{
    if (syncIsComing_)
        return;
    syncIsComing_ = true;
    Queue::execute({.fast = false}, [self = shared_from_this()] {
        std::this_thread::sleep_for(syncPause);
        {
            const std::scoped_lock lock(self->mutex_);
            self->syncIsComing_ = false;
        }
        self->flush();
    });
}

void StoredDocument::flush()
{
    // Savers go on while the disk works; whoever flushes waits for the flush before.
    const std::scoped_lock flushing(flushing_);
    std::string text;
    {
        const std::scoped_lock lock(mutex_);
        if (!unsynced_ || !text_)
            return;
        unsynced_ = false;
        text = *text_;
    }
    const bool synced = syncFileAndFolder(file_);
    const bool copied = synced && writeText(copy_, text, true);
    const std::scoped_lock lock(mutex_);
    copyStands_ = copyStands_ || copied;
    unsynced_ = unsynced_ || !synced;
}

NamedDocuments::NamedDocuments(std::string type, DocumentCheck check)
    : folder_(Folders::data().isEmpty() ? std::string()
                                        : joinPath(Folders::data().filePath().string(), type).value_or(std::string())),
      check_(std::move(check))
{
}

std::optional<std::string> NamedDocuments::pathOf(const std::string& name, std::string_view operation) const
{
    if (folder_.empty())
        return fail(ZelFailureCode::notFound, operation, "there is no folder for documents");
    std::optional<std::string> path;
    if (isSafeComponent(name))
        path = joinPath(folder_, name + std::string(extension));
    if (!path)
        return fail(ZelFailureCode::invalidArgument, operation, "\"" + name + "\" cannot be the name of a file");
    return path;
}

bool NamedDocuments::save(const std::string& name, const std::string& text) const
{
    const std::optional<std::string> path = pathOf(name, "saveConfiguration");
    if (!path || isTooLong(text))
        return false;
    const URL file = URL::file(*path);
    if (somethingStandsAt(file)) {
        const std::optional<std::string> standing = readText(file);
        const std::string reason = standing ? check_(*standing) : "it cannot be read";
        if (!reason.empty() && !setAside(file, reason))
            return false;
    }
    return writeText(file, text, true);
}

std::map<std::string, std::string> NamedDocuments::all() const
{
    std::map<std::string, std::string> documents;
    const std::optional<Folder> folder = folder_.empty() ? std::nullopt : Folder::open(URL::file(folder_));
    if (!folder)
        return documents;
    for (const FolderFile& entry : folder->files()) {
        if (!entry.name.ends_with(extension) || entry.name.size() == extension.size())
            continue;
        const std::optional<std::string> path = joinPath(folder_, entry.name);
        const std::optional<std::string> text = path ? readText(URL::file(*path)) : std::nullopt;
        if (!text)
            continue;
        if (const std::string reason = check_(*text); !reason.empty())
            fail(ZelFailureCode::unreadable, "configurations", entry.name + ": is damaged: " + reason, *path);
        else
            documents.emplace(entry.name.substr(0, entry.name.size() - extension.size()), *text);
    }
    return documents;
}

void NamedDocuments::remove(const std::string& name) const
{
    const std::optional<std::string> path = pathOf(name, "deleteConfiguration");
    const std::optional<Folder> folder = path ? Folder::open(URL::file(folder_)) : std::nullopt;
    const std::string fileName = name + std::string(extension);
    if (folder && folder->file(fileName) && !folder->remove(fileName))
        fail(ZelFailureCode::writeFailed, "deleteConfiguration", fileName + ": cannot be removed", *path);
}

} // namespace zel
