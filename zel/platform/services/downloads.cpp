#include <zel/platform/services/downloads.h>

#include <zel/platform/foundation/async.h>
#include <zel/platform/foundation/atomic_write.h>
#include <zel/platform/foundation/file_calls.h>
#include <zel/platform/foundation/guards.h>
#include <zel/platform/foundation/identifiers.h>
#include <zel/platform/foundation/ordered_tasks.h>
#include <zel/platform/foundation/percent.h>
#include <zel/platform/services/http.h>
#include <zel/platform/services/services.h>

#include <mutex>

namespace zel {
namespace {

/// Where a downloaded body is kept; empty for files, which lie on the disk already and may change there.
URL keptAt(const URL& address)
{
    const URL caches = Folders::caches();
    if (caches.isEmpty() || address.isFile())
        return {};
    const auto folder = joinPath(caches.filePath().string(), "ZelDownloads");
    const auto file = folder ? joinPath(*folder, ZelId::md5(address.absoluteString())) : std::nullopt;
    return file ? URL::file(*file) : URL();
}

Data throughDisk(const URL& address, const FetchOptions& options)
{
    const URL kept = keptAt(address);
    {
        const NotesOnTrial silent; // nothing kept yet is the usual case
        if (auto bytes = kept.isEmpty() ? std::nullopt : Data::read(kept); bytes && !bytes->empty())
            return *bytes;
    }
    Data bytes = fetch(address, options).value_or(Data());
    if (!bytes.empty() && !kept.isEmpty())
        writeAtomically(kept, bytes.span(), {.operation = "keep", .followLink = false, .createFolders = true});
    return bytes;
}

/// What is kept, not held in memory; null where it is not there.
Ref<const ByteSource> openKept(const URL& kept)
{
    const NotesOnTrial silent;
    const Ref<const ByteSource> source = kept.isEmpty() ? nullptr : ByteSource::openLightly(kept);
    return source && source->size() > 0 ? source : nullptr;
}

Ref<const ByteSource> opened(const URL& address)
{
    if (address.isFile())
        return ByteSource::openLightly(address);
    const URL kept = keptAt(address);
    if (const Ref<const ByteSource> source = openKept(kept))
        return source;
    Data bytes = throughDisk(address, {});
    if (bytes.empty())
        return nullptr;
    const Ref<const ByteSource> source = openKept(kept);
    return source && source->size() == bytes.size() ? source
                                                    : ByteSource::of(std::move(bytes), address.absoluteString());
}

/// Requests that may be answered from the disk, one after the other for each address.
const Ref<OrderedTasks>& downloads()
{
    static const Ref<OrderedTasks>& instance = *new Ref<OrderedTasks>(std::make_shared<OrderedTasks>());
    return instance;
}

struct Endpoint {
    std::mutex mutex;
    URL address;
};

Endpoint& endpoint()
{
    static Endpoint& instance = *new Endpoint;
    return instance;
}

} // namespace

void openAddress(const URL& address, std::function<bool(const Ref<const ByteSource>&)> completion)
{
    downloads()->add(address.absoluteString(), [address, completion = std::move(completion)] {
        const Ref<const ByteSource> source = opened(address);
        const bool isOfUse = completion(source);
        if (const URL kept = keptAt(address); source && !isOfUse && !kept.isEmpty())
            fileCalls().unlink(kept.filePath().c_str());
    });
}

void ZelResourceDownloader::asyncDownload(const URL& address, Options options, std::function<void(Data)> completion)
{
    const FetchOptions how{.seconds = options.timeOut};
    const auto answer = [completion = std::move(completion)](Data bytes) {
        if (completion)
            completion(std::move(bytes));
    };
    if (options.useDiskCache)
        downloads()->add(address.absoluteString(), [address, how, answer] { answer(throughDisk(address, how)); });
    else
        Queue::execute({.fast = true}, [address, how, answer] { answer(fetch(address, how).value_or(Data())); });
}

std::future<bool> ZelNet::upload(Upload what)
{
    return async([what = std::move(what)] {
        return post({.to = what.to, .name = what.withFileName, .mediaType = what.mimetype}, what.data);
    });
}

void ZelNet::setDefaultEndpoint(const URL& address)
{
    const std::scoped_lock lock(endpoint().mutex);
    endpoint().address = address;
}

URL ZelNet::defaultEndpoint()
{
    const std::scoped_lock lock(endpoint().mutex);
    return endpoint().address;
}

OrvoData::OrvoData(const URL& baseAddress) : base_(baseAddress) {}

std::future<std::optional<OrvoData::Result>> OrvoData::getData(WithId id) const
{
    return async([base = base_, id = std::move(id.withId)]() -> std::optional<Result> {
        if (base.isFile()) {
            auto bytes = ZelSubFiles(base).data({id});
            return bytes ? std::optional(Result{std::move(*bytes)}) : std::nullopt;
        }
        std::string text = base.absoluteString();
        if (!isSafeComponent(id) || text.empty())
            return fail(ZelFailureCode::invalidArgument, "get data", "\"" + id + "\" is no identifier of the service");
        if (!text.ends_with('/'))
            text += '/';
        const auto address = URL::parse(text + percentEncoded(id));
        auto bytes = address ? fetch(*address) : std::nullopt;
        return bytes ? std::optional(Result{std::move(*bytes)}) : std::nullopt;
    });
}

ZelSubFiles::ZelSubFiles(const URL& folder) : folder_(folder) {}

std::optional<Data> ZelSubFiles::data(ForId id) const
{
    const auto path = folder_.isFile() ? joinPath(folder_.filePath().string(), id.forId) : std::nullopt;
    if (!path)
        return fail(ZelFailureCode::notFound, "read", "the store has no file of the identifier " + id.forId);
    return Data::read(URL::file(*path));
}

} // namespace zel
