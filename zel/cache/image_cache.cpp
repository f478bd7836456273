#include <zel/cache/image_cache.h>

#include <zel/operations/resize.h>
#include <zel/platform/foundation/notes.h>

#include <algorithm>
#include <mutex>
#include <string_view>
#include <unordered_map>

namespace zel {

/// The list in its own order, and beside it which entry is the first of each identifier.
struct ZelImageCache::State {
    using Entry = std::shared_ptr<CachedImage>;

    explicit State(Options given) : options(given) {}

    /// The present, moved on where the clock stands still or is set back: the latest request is always the latest.
    Date now()
    {
        latest = std::max(std::chrono::system_clock::now(), latest + Date::duration(1));
        return latest;
    }

    /// The first entry of the identifier, which counts as requested now; null where there is none.
    Entry find(const std::string& id)
    {
        const auto found = firsts.find(id);
        if (found == firsts.end())
            return nullptr;
        found->second->lastRequested = now();
        return found->second;
    }

    /// Gives the entries that had to go, for the caller to destroy once it has given back the lock.
    std::vector<Entry> insert(const std::string& id, const Ref<ZelImage>& image)
    {
        list.push_back(std::make_shared<CachedImage>(CachedImage{id, now(), image}));
        index(list.back());
        std::vector<Entry> gone;
        if (!options.maxImagesInCache)
            return gone;
        const auto most = static_cast<std::uint64_t>(std::max<std::int64_t>(0, *options.maxImagesInCache));
        if (list.size() <= most)
            return gone;
        std::stable_sort(list.begin(), list.end(),
                         [](const Entry& a, const Entry& b) { return a->lastRequested > b->lastRequested; });
        const auto end = list.begin() + static_cast<std::ptrdiff_t>(most);
        gone.assign(std::make_move_iterator(end), std::make_move_iterator(list.end()));
        const bool wasUnique = firsts.size() == list.size();
        list.erase(end, list.end());
        if (wasUnique) {
            for (const Entry& entry : gone)
                firsts.erase(entry->id);
        } else {
            // Sorting may have changed which of several entries comes first.
            firsts.clear();
            std::for_each(list.begin(), list.end(), [&](const Entry& entry) { index(entry); });
        }
        return gone;
    }

    void index(const Entry& entry) { firsts.try_emplace(entry->id, entry); }

    const Options options;
    std::mutex mutex;
    std::vector<Entry> list;
    std::unordered_map<std::string_view, Entry> firsts; ///< keys lie in the entries
    Date latest = Date::min();
};

namespace {

/// A new image whose longer side is at most that long; null where it cannot be had.
Ref<ZelImage> bounded(const Ref<ZelImage>& image, CGFloat maxSize)
{
    const CGFloat longest = std::max(image->size.width, image->size.height);
    return resize(image, {.to = image->size * (longest <= maxSize ? 1.0 : maxSize / longest)});
}

} // namespace

ZelImageCache::ZelImageCache(Options options) : state_(std::make_shared<State>(options)) {}

ZelImageCache::~ZelImageCache() = default;

Ref<ZelImage> ZelImageCache::getImageOrCalc(Request request)
{
    {
        const std::scoped_lock lock(state_->mutex);
        if (const auto found = state_->find(request.withId)) {
            if (!found->image)
                (void)failAbsentInput("find in the cache");
            return found->image;
        }
    }
    Ref<ZelImage> image = request.calcClosure ? request.calcClosure() : nullptr;
    if (image && request.maxSize)
        image = bounded(image, *request.maxSize);
    std::vector<State::Entry> gone;
    {
        const std::scoped_lock lock(state_->mutex);
        gone = state_->insert(request.withId, image);
    }
    return image;
}

std::optional<std::int64_t> ZelImageCache::maxImagesInCache() const
{
    return state_->options.maxImagesInCache;
}

std::vector<Ref<const ZelImageCache::CachedImage>> ZelImageCache::cachedImageList() const
{
    const std::scoped_lock lock(state_->mutex);
    std::vector<Ref<const CachedImage>> copies;
    copies.reserve(state_->list.size());
    for (const State::Entry& entry : state_->list)
        copies.push_back(std::make_shared<const CachedImage>(*entry));
    return copies;
}

} // namespace zel
