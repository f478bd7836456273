#pragma once
#include <zel/core/image.h>
#include <zel/platform/services/services.h>

// Pictures from addresses, from the desktop and from stores, and to an upload service. What cannot be had is absent,
// with the reason noted; bytes that end early or are no picture count as unreadable.
namespace zel {

struct HttpUrl {
    URL httpUrl;
};
struct HttpText {
    std::string httpText;
};
struct CachedImageUrl {
    URL url;
    std::function<void(Ref<ZelImage>)> callback;
    std::string cacheScope = {}; ///< what other scopes keep is not found; empty: one for all
};
struct DownloadFrom {
    URL from;
};
struct ForFile {
    URL forFile;
};
struct BundleUrl {
    URL bundleUrl;
};
struct IconSize {
    CGSize size;
};
struct UploadAsJpeg {
    std::optional<std::string> to = {}; ///< an address; the default endpoint (`ZelNet`) when absent
    std::string withName;               ///< of the file, without ".jpg"
    double quality;
};
struct WithId {
    std::string withId;
};
struct SubFilesId {
    ZelSubFiles subFiles;
    std::string id;
};

/// The picture at a web address, or in the file that an address names, read whole on this thread.
ZEL_API Ref<ZelImage> makeZelImage(HttpUrl address);
ZEL_API Ref<ZelImage> makeZelImage(HttpText address);

/// The desktop's icon of a file, best for 1024 × 1024 points, with neither `cgImage` nor `size`. Null where the host
/// has no provider of icons.
ZEL_API Ref<ZelImage> makeZelImage(ForFile icon);
ZEL_API Ref<ZelImage> makeZelImage(BundleUrl icon);
/// Best for `size`.
ZEL_API Ref<ZelImage> makeZelImage(const URL& file, IconSize icon);

/// The picture at an address, kept as a JPEG file of quality 0.75 in the folder "ZelImageCache" of the caches folder.
/// Calls back once, on the background pool, with null where it cannot be had. Requests for one file wait for each
/// other, so that an address is asked once. The file is named after the address's path alone (md5, lower case): two
/// hosts with the same path share a file, and the one that was asked first is what both get. Hosts that show pages of
/// strangers give each of them a `cacheScope`, which becomes part of the name.
ZEL_API void getCachedImage(CachedImageUrl what);

/// A file on this machine, opened on the background pool.
ZEL_API std::future<Ref<ZelImage>> download(DownloadFrom address);
/// Calls back once, on the background pool.
ZEL_API void asyncDownloadZelImage(ZelResourceDownloader& downloader, const URL& address,
                                   ZelResourceDownloader::Options options,
                                   std::function<void(Ref<ZelImage>)> completion);

/// Posts the picture as JPEG, as application/octet-stream. False without an address, where it cannot be encoded, and
/// where the server does not answer 2xx.
ZEL_API std::future<bool> uploadAsJpeg(const Ref<ZelImage>& image, UploadAsJpeg how);

ZEL_API std::future<Ref<ZelImage>> getZelImage(const OrvoData& client, WithId id);
ZEL_API std::future<Ref<ZelImage>> getImage(const ZelSubFiles& store, WithId id);
ZEL_API std::future<Ref<ZelImage>> makeZelImage(SubFilesId stored);

} // namespace zel
