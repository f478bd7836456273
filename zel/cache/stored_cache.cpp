#include <zel/cache/stored_cache.h>

#include <zel/platform/foundation/ordered_tasks.h>
#include <zel/io/encode.h>
#include <zel/io/kept_image.h>
#include <zel/operations/resize.h>
#include <zel/platform/foundation/atomic_write.h>
#include <zel/platform/foundation/folder.h>
#include <zel/platform/foundation/guards.h>
#include <zel/platform/services/services.h>

#include <algorithm>

namespace zel {
namespace {

using Mode = ZelImageStoredCache::Mode;
using Options = ZelImageStoredCache::Options;

constexpr double jpegQuality = 0.75;
constexpr mode_t ownerOnly = 0700;

/// Empty where the name is none that a folder can have.
URL folderOf(const Options& options)
{
    const URL caches = Folders::caches();
    const auto path = caches.isEmpty() ? std::nullopt : joinPath(caches.filePath().string(), options.name);
    return path ? URL::file(*path) : URL();
}

URL fileOf(const Options& options, const std::string& id)
{
    const URL folder = folderOf(options);
    if (folder.isEmpty())
        return {};
    const std::string name = id + (options.mode == Mode::png ? ".png" : ".jpg");
    const auto path = joinPath(folder.filePath().string(), name);
    return path ? URL::file(*path) : URL();
}

void write(const Options& options, Ref<ZelImage> image, const URL& file)
{
    if (options.resizeMinSideToMax) {
        const auto bound = static_cast<CGFloat>(*options.resizeMinSideToMax);
        if (auto smaller = resize(image, {.withMinSideBoundedTo = bound}))
            image = std::move(smaller);
    }
    if (options.mode == Mode::heif)
        ZelImageHelper::saveToJpeg(image, {.quality = jpegQuality, .url = file});
    else
        saveToPNG(image, {.url = file});
}

} // namespace

struct ZelImageStoredCache::State {
    Options options;
    ZelThreadSafeDictionary<std::string, Ref<ZelImage>> computed;
    Ref<OrderedTasks> writes = std::make_shared<OrderedTasks>();
};

ZelImageStoredCache::ZelImageStoredCache(Options options) : state_(std::make_shared<State>())
{
    state_->options = std::move(options);
    ZelImageStoredCache::removeOldItems();
}

ZelImageStoredCache::~ZelImageStoredCache() = default;

URL ZelImageStoredCache::imageUrl(With id) const
{
    URL file = fileOf(state_->options, id.with);
    if (!file.isEmpty())
        makeFolders(file.filePath().parent_path().string(), ownerOnly);
    return file;
}

void ZelImageStoredCache::removeOldItems()
{
    auto folder = Folder::open(folderOf(state_->options));
    if (!folder)
        return;
    // Shared, because tasks are copied.
    auto shared = std::make_shared<Folder>(std::move(*folder));
    state_->writes->add({}, [shared, files = shared->files(), days = state_->options.removeItemsAfterDays] {
        using Days = std::chrono::duration<double, std::ratio<86'400>>;
        constexpr std::int64_t furthest = 36'500; // a clock of nanoseconds has no place for more than some centuries
        const auto age = Days(static_cast<double>(std::clamp(days, -furthest, furthest)));
        for (const FolderFile& file : files) {
            const Date now = std::chrono::system_clock::now();
            // What is being written has its name for a moment only.
            const bool isTemporary = file.name.starts_with(temporaryPrefix) && file.name.ends_with(".tmp");
            const bool isOld =
                file.modified < now - std::chrono::duration_cast<Date::duration>(isTemporary ? Days(1) : age);
            // Somebody may have written it anew since it was listed.
            if (isOld && shared->file(file.name).value_or(FolderFile{}).modified == file.modified)
                shared->remove(file.name);
        }
    });
}

void ZelImageStoredCache::store(const Ref<ZelImage>& image, WithId id)
{
    const URL file = imageUrl({id.withId});
    if (image && !file.isEmpty())
        state_->writes->add(id.withId, [options = state_->options, image, file] { write(options, image, file); });
}

Ref<ZelImage> ZelImageStoredCache::retrieveImage(WithId id) const
{
    return keptImage(imageUrl({std::move(id.withId)}));
}

Ref<ZelImage> ZelImageStoredCache::retrieveOrCalc(ImageWithId what)
{
    if (auto known = state_->computed.value({what.imageWithId}))
        return *known;
    if (auto read = keptImage(imageUrl({what.imageWithId})))
        return read;
    Ref<ZelImage> image = what.calc ? what.calc() : nullptr;
    if (!image)
        return nullptr;
    store(image, {what.imageWithId});
    state_->computed.set({.key = what.imageWithId, .value = image, .deferred = true});
    return image;
}

void ZelImageStoredCache::waitForWrites() const
{
    state_->writes->wait();
}

const ZelImageStoredCache::Options& ZelImageStoredCache::options() const
{
    return state_->options;
}

ZelThreadSafeDictionary<std::string, Ref<ZelImage>>& ZelImageStoredCache::cache() const
{
    return state_->computed;
}

} // namespace zel
