#pragma once
#include <zel/export.h>
#include <zel/platform/foundation/address_policy.h>
#include <zel/platform/foundation/date.h>
#include <zel/platform/foundation/url.h>

#include <functional>
#include <future>

namespace zel {

/// The share-app store: files by identifier, in a folder of their own. May be used from several threads and processes.
class ZEL_API ZelShareApp {
public:
    /// The content folder; made when the first file is taken in.
    explicit ZelShareApp(const URL& folder);

    struct Ingest {
        URL fileAtUrl;
        bool upload = false;                       ///< this build has no remote store: noted as a warning
        std::function<void(double)> progress = {}; ///< fractions 0 to 1, on a background thread; must not throw
    };
    /// Copies a file into the store and gives its new identifier; an empty text, with the reason noted, when the file
    /// cannot be taken in. The identifier ends in the file's extension and is safe as a file name.
    std::future<std::string> ingestAndGetId(Ingest file) const;

    struct Find {
        std::string forId;
        bool downloadRemote = false; ///< this build has no remote store: what is not here is not found
    };
    /// Where the file of an identifier lies; absent when the store has none.
    std::future<std::optional<URL>> url(Find what) const;

private:
    URL folder_;
};

/// Where documents and caches of the application lie, by the XDG base directory rules. Nothing is created here.
namespace Folders {
/// The name of the application's folders, instead of the program's name. One that cannot be a folder's name is refused
/// and noted.
ZEL_API void setApplication(const std::string& name);
/// $XDG_DATA_HOME/<application>, else ~/.local/share/<application>; empty where there is no home.
ZEL_API URL data();
/// $XDG_CACHE_HOME/<application>, else ~/.cache/<application>; empty where there is no home.
ZEL_API URL caches();
} // namespace Folders

} // namespace zel
