#include "cache_folders.h"

#include <zel/platform/foundation/atomic_write.h>
#include <zel/platform/foundation/guards.h>
#include <zel/platform/foundation/notes.h>

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <ctime>

namespace zel::program {
namespace {

using Days = std::chrono::duration<double, std::ratio<86'400>>;

} // namespace

std::vector<FolderFile> CacheFolder::files() const
{
    auto files = folder_.files();
    std::sort(files.begin(), files.end(), [](const FolderFile& a, const FolderFile& b) { return a.name < b.name; });
    return files;
}

bool CacheFolder::remove(const FolderFile& file) const
{
    const auto now = folder_.file(file.name);
    if (!now || now->modified != file.modified || folder_.remove(file.name))
        return true;
    return fail(ZelFailureCode::writeFailed, "remove",
                fmt::format("{}: cannot be removed: {}", file.name, errorText(errno)), file.name);
}

std::vector<std::string> CacheFolders::names() const
{
    auto names = folder_ ? folder_->folders() : std::vector<std::string>();
    std::erase_if(names, [](const std::string& name) { return !isName(name); });
    std::sort(names.begin(), names.end());
    return names;
}

std::optional<CacheFolder> CacheFolders::open(const std::string& name) const
{
    auto cache = folder_ ? folder_->folder(name) : std::nullopt;
    if (!cache)
        return fail(ZelFailureCode::notFound, "open", "no such cache", name);
    return CacheFolder(std::move(*cache));
}

bool CacheFolders::isName(const std::string& name)
{
    return joinPath({}, name).has_value();
}

std::vector<FolderFile> filesToRemove(const std::vector<FolderFile>& files, bool all, double days)
{
    const auto now = std::chrono::system_clock::now();
    std::vector<FolderFile> chosen;
    for (const auto& file : files) {
        const Days age = now - file.modified;
        const bool isTemporary = file.name.starts_with(temporaryPrefix) && file.name.ends_with(".tmp");
        if (isTemporary ? age.count() > 1 : all || age.count() > days)
            chosen.push_back(file);
    }
    return chosen;
}

std::string isoText(Date date)
{
    const std::time_t seconds = std::chrono::system_clock::to_time_t(date);
    std::tm parts = {};
    if (gmtime_r(&seconds, &parts) == nullptr)
        return {};
    constexpr int firstYear = 1900;
    return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}Z", parts.tm_year + firstYear, parts.tm_mon + 1,
                       parts.tm_mday, parts.tm_hour, parts.tm_min, parts.tm_sec);
}

} // namespace zel::program
