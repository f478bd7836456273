#pragma once
#include <zel/core/image.h>
#include <zel/platform/foundation/coding.h>
#include <zel/platform/foundation/memo.h>

namespace zel {

/// Images on disk by identifier, each a file of its own in a named folder under the caches folder: what one run
/// computes the next one finds. Files are written whole or not at all, in the background; those of one identifier in
/// the order in which they were handed over. Any thread, any number of caches and processes on one folder.
///
/// Names come from outside, so only safe ones touch the disk: where the folder's name, or the identifier with its
/// extension, is none that a file can have (over 255 bytes, with "/" or NUL, "." or ".."), `imageUrl` is empty, nothing
/// is stored or found, and `retrieveOrCalc` computes and remembers in memory alone. Failures are silent but for notes.
class ZEL_API ZelImageStoredCache {
public:
    /// `heif` writes JPEG files of quality 0.75 with the extension "jpg".
    enum class Mode { png, heif };
    struct Options {
        std::string name;                  ///< of the folder
        std::int64_t removeItemsAfterDays; ///< files that were not written since go when a cache is made
        Mode mode;
        std::optional<std::int64_t> resizeMinSideToMax =
            {}; ///< pixels: larger images are reduced before they are written
    };
    struct With {
        std::string with;
    };
    struct WithId {
        std::string withId;
    };
    struct ImageWithId {
        std::string imageWithId;
        std::function<Ref<ZelImage>()> calc;
    };

    /// Clears the folder of old files, in the background.
    explicit ZelImageStoredCache(Options options);
    /// What was handed over is still written.
    virtual ~ZelImageStoredCache();
    ZelImageStoredCache(const ZelImageStoredCache&) = delete;
    ZelImageStoredCache& operator=(const ZelImageStoredCache&) = delete;

    /// Where the identifier's file lies, or would; makes the folder.
    virtual URL imageUrl(With id) const;
    /// Lists the folder now, and removes its old files in the background, and what a killed process left half written
    /// more than a day ago. Links and the folders below stay.
    virtual void removeOldItems();
    /// Replaces the identifier's file in the background; an image without pixels removes it.
    virtual void store(const Ref<ZelImage>& image, WithId id);
    /// What the file holds; null when there is none or it does not read to its end. Never asks the memory.
    virtual Ref<ZelImage> retrieveImage(WithId id) const;
    /// The image computed in this run, else what the file holds, else what `calc` gives, which is remembered and
    /// stored. `calc` runs on this thread, at most once; null is neither remembered nor stored.
    virtual Ref<ZelImage> retrieveOrCalc(ImageWithId what);
    /// Until every write and removal handed over so far has ended.
    void waitForWrites() const;

    const Options& options() const;
    /// What `retrieveOrCalc` computed in this run, full size; never trimmed.
    ZelThreadSafeDictionary<std::string, Ref<ZelImage>>& cache() const;

private:
    struct State;
    Ref<State> state_;
};

template <>
inline constexpr auto enumCases<ZelImageStoredCache::Mode> = std::to_array<EnumCase<ZelImageStoredCache::Mode>>({
    {ZelImageStoredCache::Mode::png, "png"},
    {ZelImageStoredCache::Mode::heif, "heif"},
});

} // namespace zel
