#include <zel/platform/foundation/modules.h>
#include <zel/platform/foundation/file_calls.h>
#include <zel/platform/foundation/guards.h>
#include <zel/platform/foundation/notes.h>

#include <climits>
#include <dlfcn.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <map>
#include <mutex>

namespace zel {
namespace {

constexpr std::string_view operation = "load";

struct Opened {
    std::mutex mutex;
    std::map<std::string, const void*, std::less<>> apis;
};

// Never destroyed: threads may still use modules while the process ends.
Opened& opened()
{
    static Opened& instance = *new Opened;
    return instance;
}

// How the program was started is what the loader knows of it, which may be relative to a folder that is no longer the
// current one; the kernel knows better.
std::string programFile()
{
    std::string path(PATH_MAX, '\0');
    const ssize_t length = systemFileCalls().readlinkat(AT_FDCWD, "/proc/self/exe", path.data(), path.size());
    path.resize(length > 0 ? static_cast<std::size_t>(length) : 0);
    return path;
}

bool exists(const std::string& path)
{
    struct stat facts {};
    return systemFileCalls().fstatat(AT_FDCWD, path.c_str(), &facts, 0) == 0;
}

} // namespace

std::vector<std::string> moduleFolders()
{
    std::vector<std::string> files;
    Dl_info own{};
    if (dladdr(reinterpret_cast<const void*>(&opened), &own) != 0 && own.dli_fname != nullptr &&
        own.dli_fname[0] == '/')
        files.emplace_back(own.dli_fname);
    if (const std::string program = programFile(); !program.empty() && (files.empty() || files.front() != program))
        files.push_back(program);
    std::vector<std::string> folders;
    for (const std::string& file : files)
        for (const std::string_view relative : {"/zelimaging", "/../lib/zelimaging", "/../../lib/zelimaging"})
            folders.push_back(file.substr(0, file.rfind('/')).append(relative));
    return folders;
}

std::optional<std::string> installedProgram(std::string_view name)
{
    for (const std::string& folder : moduleFolders())
        for (const std::string_view relative : {"", "/../../libexec/zelimaging", "/../../../libexec/zelimaging"}) {
            std::optional<std::string> path = joinPath(std::string(folder).append(relative), name);
            struct stat facts {};
            if (path && systemFileCalls().fstatat(AT_FDCWD, path->c_str(), &facts, 0) == 0 && S_ISREG(facts.st_mode))
                return path;
        }
    return std::nullopt;
}

const void* openModule(std::string_view name, std::string_view package, std::uint32_t version)
{
    const std::scoped_lock lock(opened().mutex);
    if (const auto known = opened().apis.find(name); known != opened().apis.end())
        return known->second;
    const std::string file = fmt::format("zel-{}.so", name);
    std::string trouble = "is not installed";
    for (const std::string& folder : moduleFolders()) {
        const std::optional<std::string> path = joinPath(folder, file);
        if (!path || !exists(*path))
            continue;
        void* library = dlopen(path->c_str(), RTLD_NOW | RTLD_LOCAL);
        if (library == nullptr) {
            trouble = fmt::format("cannot be loaded ({})", dlerror());
            continue;
        }
        const auto entry = reinterpret_cast<ModuleEntry (*)()>(dlsym(library, "zel_module"));
        if (entry != nullptr && entry().version == version) {
            opened().apis.emplace(name, entry().api);
            return entry().api;
        }
        trouble = "is of another version";
        dlclose(library);
    }
    fail(ZelFailureCode::missingPart, operation, fmt::format("{} {}: install the package {}", file, trouble, package));
    return nullptr;
}

} // namespace zel
