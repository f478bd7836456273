#include <zel/platform/foundation/memory_budget.h>
#include <zel/platform/foundation/file_calls.h>

#include <algorithm>
#include <charconv>
#include <fcntl.h>
#include <string>

namespace zel {
namespace {

std::optional<std::uint64_t> numberAtStart(std::string_view text)
{
    text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
    std::uint64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc{} ? std::optional(number) : std::nullopt;
}

// The kernel's own short texts. Read past the table of file calls: what a machine has is no matter of a host's files.
std::string kernelText(const std::string& path)
{
    const FileCalls& calls = systemFileCalls();
    const int file = calls.open(path.c_str(), O_RDONLY | O_CLOEXEC, 0);
    if (file < 0)
        return {};
    std::string text(4096, '\0');
    const auto got = calls.read(file, text.data(), text.size());
    calls.close(file);
    text.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
    return text;
}

} // namespace

std::optional<std::uint64_t> availableOf(std::string_view meminfo)
{
    constexpr std::string_view key = "MemAvailable:";
    const std::size_t at = meminfo.find(key);
    if (at == std::string_view::npos)
        return std::nullopt;
    const std::optional<std::uint64_t> kibibytes = numberAtStart(meminfo.substr(at + key.size()));
    return kibibytes ? std::optional(*kibibytes << 10) : std::nullopt;
}

std::optional<std::uint64_t> groupLimitOf(std::string_view text)
{
    const std::optional<std::uint64_t> bytes = numberAtStart(text);
    // The older hierarchy writes the largest multiple of a page for "no limit".
    return bytes && *bytes < std::uint64_t{1} << 60 ? bytes : std::nullopt;
}

std::string_view unifiedGroupOf(std::string_view cgroups)
{
    const std::size_t at = cgroups.starts_with("0::") ? 0 : cgroups.find("\n0::");
    if (at == std::string_view::npos)
        return {};
    std::string_view path = cgroups.substr(cgroups.find("0::", at) + 3);
    path = path.substr(0, path.find('\n'));
    return path == "/" ? std::string_view{} : path;
}

std::optional<std::uint64_t> availableMemory()
{
    std::optional<std::uint64_t> least = availableOf(kernelText("/proc/meminfo"));
    const std::string group(unifiedGroupOf(kernelText("/proc/self/cgroup")));
    for (const std::string& file : {"/sys/fs/cgroup" + group + "/memory.max", std::string("/sys/fs/cgroup/memory.max"),
                                    std::string("/sys/fs/cgroup/memory/memory.limit_in_bytes")})
        if (const std::optional<std::uint64_t> limit = groupLimitOf(kernelText(file)))
            least = least ? std::min(*least, *limit) : *limit;
    return least;
}

} // namespace zel
