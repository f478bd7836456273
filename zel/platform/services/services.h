#pragma once
#include <zel/export.h>
#include <zel/platform/foundation/url.h>

#include <any>
#include <chrono>
#include <functional>
#include <future>
#include <map>

namespace zel {

using Date = std::chrono::system_clock::time_point;

/// The share-app store: files by identifier.
class ZelShareApp {
public:
    explicit ZelShareApp(const URL& folder);
    struct Ingest { URL fileAtUrl; bool upload = false; std::function<void(double)> progress = {}; };
    std::future<std::string> ingestAndGetId(Ingest file) const;      ///< an empty text when the file cannot be taken in
    struct Find { std::string forId; bool downloadRemote = false; };
    std::future<std::optional<URL>> url(Find what) const;

private:
    URL folder_;
};

class ZelResourceDownloader {
public:
    struct Options { std::optional<double> timeOut = {}; bool useDiskCache = false; };
    void asyncDownload(const URL& address, Options options, std::function<void(Data)> completion);
};

namespace ZelNet {
struct Upload { URL to; Data data; std::string withFileName; std::string mimetype; };
std::future<bool> upload(Upload what);
void setDefaultEndpoint(const URL& address);     ///< path "/orvo/filePost.php"; empty = unset: uploads without an address fail and say so
} // namespace ZelNet

class OrvoData {
public:
    explicit OrvoData(const URL& baseAddress);
    struct Result { Data data; };
    struct WithId { std::string withId; };
    std::future<std::optional<Result>> getData(WithId id) const;

private:
    URL base_;
};

class ZelSubFiles {
public:
    explicit ZelSubFiles(const URL& folder);
    struct ForId { std::string forId; };
    std::optional<Data> data(ForId id) const;

private:
    URL folder_;
};

/// A process-wide store of objects by text key, least used out first above its bytes.
class ZelCache {
public:
    ZelCache();
    std::any getCached(const std::string& key) const;                ///< empty when absent
    struct Object { std::any object; std::size_t bytes = 0; };
    void setCached(const std::string& key, Object object);

private:
    struct State;
    Ref<State> state_;
};

/// Where documents persist: $XDG_DATA_HOME/<application>; caches: $XDG_CACHE_HOME/<application>.
namespace Folders {
void setApplication(const std::string& name);
URL data();
URL caches();
} // namespace Folders

} // namespace zel
