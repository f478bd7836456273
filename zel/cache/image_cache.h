#pragma once
#include <zel/cache/stored_cache.h>
#include <zel/core/image.h>
#include <zel/export.h>
#include <zel/platform/foundation/date.h>

namespace zel {

/// Images in memory by identifier. Any thread.
class ZEL_API ZelImageCache {
public:
    struct CachedImage {
        std::string id;
        Date lastRequested;  ///< no two of a cache are equal, so that the order of requests is never in doubt
        Ref<ZelImage> image; ///< null where nothing was computed
    };
    struct Options {
        std::optional<std::int64_t> maxImagesInCache; ///< absent = no bound; 0 or below keeps nothing
    };
    struct Request {
        std::string withId;
        std::optional<CGFloat> maxSize = {}; ///< pixels of the longer side; no part of the key
        std::function<Ref<ZelImage>()> calcClosure;
    };

    explicit ZelImageCache(Options options);
    virtual ~ZelImageCache();
    ZelImageCache(const ZelImageCache&) = delete;
    ZelImageCache& operator=(const ZelImageCache&) = delete;

    /// What is kept under the identifier, also where that is nothing; else what the closure computes, brought to at
    /// most `maxSize` (always a new image then), which is kept. The closure runs on the calling thread without a lock,
    /// so it may use the cache; two threads that miss at once both compute and both keep an entry, of which the first
    /// is found. Where there are then too many, the list is sorted by the last request and loses its end. What the
    /// closure throws passes through, and nothing is kept.
    virtual Ref<ZelImage> getImageOrCalc(Request request);

    [[nodiscard]] std::optional<std::int64_t> maxImagesInCache() const;
    /// A snapshot, in list order.
    [[nodiscard]] std::vector<Ref<const CachedImage>> cachedImageList() const;

private:
    struct State;
    Ref<State> state_;
};

} // namespace zel
