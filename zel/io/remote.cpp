#include <zel/io/remote.h>

#include <zel/io/encode.h>
#include <zel/io/kept_image.h>
#include <zel/platform/foundation/async.h>
#include <zel/platform/foundation/folder.h>
#include <zel/platform/foundation/guards.h>
#include <zel/platform/foundation/identifiers.h>
#include <zel/platform/foundation/notes.h>
#include <zel/platform/foundation/ordered_tasks.h>
#include <zel/platform/services/file_icons.h>
#include <zel/platform/services/http.h>

namespace zel {
namespace {

constexpr double keptQuality = 0.75;
constexpr mode_t ownerOnly = 0700;
constexpr CGSize largestIcon{1024, 1024};

Ref<ZelImage> fetched(const URL& address)
{
    const auto bytes = fetch(address);
    const SubjectScope subject(address.absoluteString());
    return bytes ? makeZelImage(*bytes) : nullptr;
}

Ref<ZelImage> iconOf(const URL& file, CGSize size)
{
    const Ref<NSImage> icon = FileIcons::icon(file, size);
    return icon ? makeZelImage(icon, {.dontCreateAuxiliaryVars = true}) : nullptr;
}

/// Found once: where the caches lie does not change under a program that runs.
const URL& cacheFolder()
{
    static const URL& folder = *new URL([] {
        const URL caches = Folders::caches();
        const auto path = caches.isEmpty() ? std::nullopt : joinPath(caches.filePath().string(), "ZelImageCache");
        return path ? URL::file(*path) : URL();
    }());
    return folder;
}

/// Makes the folder.
URL cacheFile(const URL& address, const std::string& scope)
{
    const std::string key = scope.empty() ? address.path() : scope + '\n' + address.path();
    const std::string folder = cacheFolder().filePath().string();
    const auto path = folder.empty() ? std::nullopt : joinPath(folder, ZelId::md5(key) + ".jpg");
    if (path)
        makeFolders(folder, ownerOnly); // one that cannot be made is found out when it is written to
    return path ? URL::file(*path) : URL();
}

const Ref<OrderedTasks>& cacheTasks()
{
    static const Ref<OrderedTasks>& instance = *new Ref<OrderedTasks>(std::make_shared<OrderedTasks>());
    return instance;
}

void findOrFetch(const CachedImageUrl& what, const URL& file)
{
    const auto answer = [&what](Ref<ZelImage> image) {
        if (what.callback)
            what.callback(std::move(image));
    };
    if (auto kept = keptImage(file))
        return answer(std::move(kept));
    const Ref<ZelImage> image = fetched(what.url);
    answer(image);
    if (image && !file.isEmpty()) {
        const NotesOnTrial silent; // a cache that cannot be written costs another transfer
        ZelImageHelper::saveToJpeg(image, {.quality = keptQuality, .url = file});
    }
}

} // namespace

Ref<ZelImage> makeZelImage(HttpUrl address)
{
    return fetched(address.httpUrl);
}

Ref<ZelImage> makeZelImage(HttpText address)
{
    const auto url = URL::parse(address.httpText);
    if (!url)
        return fail(ZelFailureCode::invalidArgument, "fetch", "\"" + address.httpText + "\" is no address");
    return fetched(*url);
}

Ref<ZelImage> makeZelImage(ForFile icon)
{
    return iconOf(icon.forFile, largestIcon);
}

Ref<ZelImage> makeZelImage(BundleUrl icon)
{
    return iconOf(icon.bundleUrl, largestIcon);
}

Ref<ZelImage> makeZelImage(const URL& file, IconSize icon)
{
    return iconOf(file, icon.size);
}

void getCachedImage(CachedImageUrl what)
{
    const URL file = cacheFile(what.url, what.cacheScope);
    cacheTasks()->add(file.absoluteString(), [what = std::move(what), file] { findOrFetch(what, file); });
}

std::future<Ref<ZelImage>> download(DownloadFrom address)
{
    return async([file = std::move(address.from)] { return makeZelImage(file); });
}

void asyncDownloadZelImage(ZelResourceDownloader& downloader, const URL& address,
                           ZelResourceDownloader::Options options, std::function<void(Ref<ZelImage>)> completion)
{
    downloader.asyncDownload(address, options, [address, completion = std::move(completion)](const Data& bytes) {
        const SubjectScope subject(address.absoluteString());
        Ref<ZelImage> image = bytes.empty() ? nullptr : makeZelImage(bytes);
        if (completion)
            completion(std::move(image));
    });
}

std::future<bool> uploadAsJpeg(const Ref<ZelImage>& image, UploadAsJpeg how)
{
    return async([image, how = std::move(how)]() -> bool {
        const auto bytes = jpegData(image, {.quality = how.quality});
        if (!bytes)
            return false;
        const auto address = how.to ? URL::parse(*how.to) : ZelNet::defaultEndpoint();
        if (!address || address->isEmpty())
            return fail(ZelFailureCode::invalidArgument, "upload",
                        how.to ? "\"" + *how.to + "\" is no address" : "there is no address to upload to");
        return ZelNet::upload({.to = *address,
                               .data = *bytes,
                               .withFileName = how.withName + ".jpg",
                               .mimetype = "application/octet-stream"})
            .get();
    });
}

std::future<Ref<ZelImage>> getZelImage(const OrvoData& client, WithId id)
{
    return async([client, id = std::move(id.withId)]() -> Ref<ZelImage> {
        const auto found = client.getData({id}).get();
        return found ? makeZelImage(found->data) : nullptr;
    });
}

std::future<Ref<ZelImage>> getImage(const ZelSubFiles& store, WithId id)
{
    return async([store, id = std::move(id.withId)]() -> Ref<ZelImage> {
        const auto bytes = store.data({id});
        return bytes ? makeZelImage(*bytes) : nullptr;
    });
}

std::future<Ref<ZelImage>> makeZelImage(SubFilesId stored)
{
    return getImage(stored.subFiles, {.withId = std::move(stored.id)});
}

} // namespace zel
