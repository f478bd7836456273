// Names of caches and identifiers, from outside: nothing that does not lie in the cache's own folder is written,
// removed or read, and what is stored is found again. The first byte chooses the format, the second says how long the
// name is.
#include "target.h"

#include <zel/cache/stored_cache.h>
#include <zel/platform/foundation/file_calls.h>
#include <zel/platform/services/services.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <unistd.h>

namespace {

using namespace zel;
using fuzz::require;
namespace fs = std::filesystem;

constexpr const char* application = "application";
constexpr const char* sentinel = "sentinel.png";
constexpr const char* other = "another cache";

/// Folders with files around the one that a cache may use; all of them old enough to be removed.
struct Sandbox {
    Sandbox()
    {
        const fs::path memory = "/dev/shm";
        base = (access(memory.c_str(), W_OK) == 0 ? memory : fs::temp_directory_path()) /
               ("zel-fuzz-names-" + std::to_string(getpid()));
        caches = base / "caches" / application;
        fs::create_directories(caches / other);
        for (const fs::path& folder : {base, base / "caches", caches, caches / other}) {
            std::ofstream(folder / sentinel) << "sentinel";
            fs::last_write_time(folder / sentinel, fs::file_time_type::clock::now() - std::chrono::hours(10'000));
        }
        before = entries({});
        setenv("XDG_CACHE_HOME", (base / "caches").c_str(), 1);
        Folders::setApplication(application);
        // The disk itself is not what is tested.
        static FileCalls calls = systemFileCalls();
        calls.fsync = [](int) { return 0; };
        setFileCalls(&calls);
    }
    ~Sandbox()
    {
        std::error_code ignored;
        fs::remove_all(base, ignored);
    }
    Sandbox(const Sandbox&) = delete;
    Sandbox& operator=(const Sandbox&) = delete;

    /// All that stands there, but for what stands in that cache.
    [[nodiscard]] std::set<std::string> entries(const std::string& cache) const
    {
        std::set<std::string> all;
        const fs::path own = caches / cache;
        for (auto entry = fs::recursive_directory_iterator(base); entry != fs::recursive_directory_iterator();
             ++entry) {
            if (!cache.empty() && entry->path() == own) {
                entry.disable_recursion_pending();
                continue;
            }
            all.insert(entry->path().string());
        }
        return all;
    }

    fs::path base, caches;
    std::set<std::string> before;
};

/// By the rules of the file system.
bool isName(const std::string& name)
{
    return !name.empty() && name != "." && name != ".." && name.size() <= 255 &&
           name.find_first_of(std::string("/\0", 2)) == std::string::npos;
}

void tryStores(const Sandbox& sandbox, const std::string& id)
{
    const URL folder = URL::file(sandbox.caches / other);
    require(ZelSubFiles(folder).data({id}).has_value() == (id == sentinel), "a file of the store alone");
    require(ZelShareApp(folder).url({.forId = id}).get().has_value() == (id == sentinel), "a file of the store alone");
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const Sandbox sandbox;
    if (size < 2)
        return 0;
    const auto mode = data[0] % 2 == 0 ? ZelImageStoredCache::Mode::png : ZelImageStoredCache::Mode::heif;
    // Two lengths in 256 stand for names that are longer than a file's may be.
    const std::size_t wanted = data[1] > 253 ? std::size_t{300} : data[1];
    const std::size_t length = std::min(wanted, size - 2);
    const std::string name(reinterpret_cast<const char*>(data) + 2, length);
    const std::string id(reinterpret_cast<const char*>(data) + 2 + length, size - 2 - length);
    tryStores(sandbox, id);
    if (name == other || name == sentinel)
        return 0;

    const auto picture =
        makeZelImage(CGImage::make({.width = 1, .height = 1}, Data(std::vector<std::uint8_t>{9, 9, 9, 255}), 4));
    ZelImageStoredCache cache({.name = name, .removeItemsAfterDays = 0, .mode = mode});
    const std::string file = id + (mode == ZelImageStoredCache::Mode::png ? ".png" : ".jpg");
    const bool isSafe = isName(name) && isName(file);
    const URL address = cache.imageUrl({.with = id});
    require(address.isEmpty() != isSafe, "an address where the names are safe");
    require(!isSafe || address.filePath() == sandbox.caches / name / file, "the identifier's own file");
    cache.store(picture, {.withId = id});
    cache.waitForWrites();
    require((cache.retrieveImage({.withId = id}) != nullptr) == isSafe, "what was stored is found");
    require(cache.retrieveOrCalc({.imageWithId = id, .calc = [&] { return picture; }}) != nullptr, "a picture");
    cache.removeOldItems();
    cache.waitForWrites();
    require(sandbox.entries(isName(name) ? name : std::string()) == sandbox.before, "everything else as it was");
    if (isName(name))
        fs::remove_all(sandbox.caches / name);
    return 0;
}
