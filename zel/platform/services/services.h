#pragma once
#include <zel/export.h>
#include <zel/platform/foundation/address_policy.h>
#include <zel/platform/foundation/date.h>
#include <zel/platform/foundation/url.h>

#include <any>
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

/// Bytes from addresses.
class ZEL_API ZelResourceDownloader {
public:
    struct Options {
        std::optional<double> timeOut = {}; ///< seconds for the whole transfer; `ZelLimits::downloadTime` at most
        bool useDiskCache = false; ///< what came once is kept in the caches folder, under its address, and never asked
                                   ///< for again; requests for one address then wait for each other
    };
    /// Calls back once, on the background pool: with the bytes, or with none where they cannot be had (noted).
    void asyncDownload(const URL& address, Options options, std::function<void(Data)> completion);
};

namespace ZelNet {
struct Upload {
    URL to;
    Data data;
    std::string withFileName;
    std::string mimetype;
};
/// Posts the bytes as the file "file" of a form; true where the server answered 2xx. Redirects are not followed.
ZEL_API std::future<bool> upload(Upload what);
/// Where uploads without an address go; its path is usually "/orvo/filePost.php". Empty, as from the beginning: they
/// fail and say so.
ZEL_API void setDefaultEndpoint(const URL& address);
ZEL_API URL defaultEndpoint();
} // namespace ZelNet

/// A data service: bytes by identifier below a base address, which may be a folder of this machine too. The identifier
/// becomes the last component of the path; one that could lead elsewhere is refused.
class ZEL_API OrvoData {
public:
    explicit OrvoData(const URL& baseAddress);
    struct Result {
        Data data;
    };
    struct WithId {
        std::string withId;
    };
    std::future<std::optional<Result>> getData(WithId id) const;

private:
    URL base_;
};

/// Files by identifier in a folder.
class ZEL_API ZelSubFiles {
public:
    explicit ZelSubFiles(const URL& folder);
    struct ForId {
        std::string forId;
    };
    /// Absent with the reason noted where there is no such file, or the identifier is no name of one.
    std::optional<Data> data(ForId id) const;

private:
    URL folder_;
};

/// A store of objects by text key, for the whole process: all instances share it. What was used least recently leaves
/// it above 256 MiB of the bytes stated. Any thread.
class ZEL_API ZelCache {
public:
    ZelCache();
    /// Empty where there is none.
    std::any getCached(const std::string& key) const;
    struct Object {
        std::any object;
        std::size_t bytes = 0; ///< what it weighs
    };
    void setCached(const std::string& key, Object object);

private:
    struct State;
    Ref<State> state_;
};

/// Where documents and caches of the application lie, by the XDG base directory rules. Nothing is created here.
namespace Folders {
/// The name of the application's folders, instead of the program's name. One that cannot be a folder's name is refused
/// and noted.
ZEL_API void setApplication(const std::string& name);
/// `$XDG_DATA_HOME/<application>`, else `~/.local/share/<application>`; empty where there is no home.
ZEL_API URL data();
/// `$XDG_CACHE_HOME/<application>`, else `~/.cache/<application>`; empty where there is no home.
ZEL_API URL caches();
} // namespace Folders

} // namespace zel
