#include <zel/platform/foundation/guards.h>
#include <zel/platform/foundation/notes.h>
#include <zel/platform/services/services.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <mutex>
#include <pwd.h>
#include <unistd.h>

namespace zel {
namespace {

struct Standing {
    std::mutex mutex;
    std::string application;
};

// Never destroyed: threads may still write a cache while the process ends.
Standing& standing()
{
    static Standing& instance = *new Standing;
    return instance;
}

std::string application()
{
    {
        const std::scoped_lock lock(standing().mutex);
        if (!standing().application.empty())
            return standing().application;
    }
    const std::string program = program_invocation_short_name;
    return isSafeComponent(program) ? program : "zelimaging";
}

// The rules say that a relative path in a variable counts as not set.
std::string absoluteVariable(const char* name)
{
    const char* value = std::getenv(name);
    return value != nullptr && value[0] == '/' ? value : std::string{};
}

std::string home()
{
    if (std::string folder = absoluteVariable("HOME"); !folder.empty())
        return folder;
    passwd entry{};
    passwd* found = nullptr;
    std::array<char, 4096> texts{};
    const int error = getpwuid_r(geteuid(), &entry, texts.data(), texts.size(), &found);
    return error == 0 && found != nullptr && entry.pw_dir != nullptr && entry.pw_dir[0] == '/' ? entry.pw_dir
                                                                                               : std::string{};
}

URL folderOf(const char* variable, std::string_view belowHome)
{
    std::string base = absoluteVariable(variable);
    if (base.empty()) {
        base = home();
        if (base.empty())
            return {};
        base += belowHome;
    }
    return URL::file(*joinPath(base, application()));
}

} // namespace

void Folders::setApplication(const std::string& name)
{
    if (!isSafeComponent(name)) {
        fail(ZelFailureCode::invalidArgument, "setApplication", "\"" + name + "\" cannot be the name of a folder");
        return;
    }
    const std::scoped_lock lock(standing().mutex);
    standing().application = name;
}

URL Folders::data()
{
    return folderOf("XDG_DATA_HOME", "/.local/share");
}
URL Folders::caches()
{
    return folderOf("XDG_CACHE_HOME", "/.cache");
}

} // namespace zel
