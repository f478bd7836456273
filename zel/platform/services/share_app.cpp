#include <zel/platform/foundation/async.h>
#include <zel/platform/foundation/atomic_write.h>
#include <zel/platform/foundation/byte_source.h>
#include <zel/platform/foundation/file_calls.h>
#include <zel/platform/foundation/guards.h>
#include <zel/platform/foundation/identifiers.h>
#include <zel/platform/services/services.h>

#include <algorithm>
#include <fcntl.h>

namespace zel {
namespace {

constexpr std::size_t longestExtension = 8;

// Only an extension that everybody takes for one becomes part of the identifier.
std::string extensionOf(const URL& file)
{
    std::string extension = file.filePath().extension().string();
    const bool usual =
        extension.size() > 1 && extension.size() <= longestExtension + 1 &&
        std::all_of(extension.begin() + 1, extension.end(), [](char byte) {
            return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') || (byte >= '0' && byte <= '9');
        });
    if (!usual)
        return {};
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](char byte) { return byte >= 'A' && byte <= 'Z' ? static_cast<char>(byte + ('a' - 'A')) : byte; });
    return extension;
}

// Identifiers come back from documents that anybody may have written.
std::optional<std::string> pathOf(const URL& folder, const std::string& id)
{
    return folder.isFile() ? joinPath(folder.filePath().string(), id) : std::nullopt;
}

std::string takeIn(const URL& folder, const ZelShareApp::Ingest& file)
{
    const Ref<const ByteSource> source = ByteSource::openWhole(file.fileAtUrl);
    if (!source)
        return {};
    const std::string id = ZelId::newId({.infix = "share"}) + extensionOf(file.fileAtUrl);
    const std::optional<std::string> path = pathOf(folder, id);
    if (!path) {
        fail(ZelFailureCode::invalidArgument, "ingest", "the store has no folder", folder.absoluteString());
        return {};
    }
    if (file.progress)
        file.progress(0.5);
    if (!writeAtomically(URL::file(*path), source->whole(), {.operation = "ingest", .createFolders = true}))
        return {};
    if (file.upload)
        warn(ZelFailureCode::unsupported, "ingest",
             "the file is in the store, but there is no remote store to upload it to", source->subject());
    if (file.progress)
        file.progress(1);
    return id;
}

std::optional<URL> find(const URL& folder, const std::string& id)
{
    const std::optional<std::string> path = pathOf(folder, id);
    struct stat facts {};
    // Not followed: a link that somebody put there is no file of the store.
    if (!path || fileCalls().fstatat(AT_FDCWD, path->c_str(), &facts, AT_SYMLINK_NOFOLLOW) != 0 ||
        !S_ISREG(facts.st_mode))
        return fail(ZelFailureCode::notFound, "find", "the store has no file of the identifier " + id);
    return URL::file(*path);
}

} // namespace

ZelShareApp::ZelShareApp(const URL& folder) : folder_(folder) {}

std::future<std::string> ZelShareApp::ingestAndGetId(Ingest file) const
{
    return async([folder = folder_, file = std::move(file)] { return takeIn(folder, file); });
}

std::future<std::optional<URL>> ZelShareApp::url(Find what) const
{
    return async([folder = folder_, id = std::move(what.forId)] { return find(folder, id); });
}

} // namespace zel
