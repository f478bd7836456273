#include <zel/platform/foundation/address_policy.h>
#include <zel/platform/foundation/notes.h>

#include <algorithm>
#include <atomic>
#include <mutex>

namespace zel {
namespace {

struct Standing {
    std::mutex mutex;
    std::vector<URL> allowed;
    std::atomic<AddressPolicy::Networks> networks = AddressPolicy::Networks::named;
};

// Never destroyed: threads may still work while the process ends.
Standing& standing()
{
    static Standing& instance = *new Standing;
    return instance;
}

bool liesIn(const std::filesystem::path& file, const std::filesystem::path& folder)
{
    // A trailing slash makes an empty last component.
    const auto end = folder.has_filename() ? folder.end() : std::prev(folder.end());
    const auto [inFolder, inFile] = std::mismatch(folder.begin(), end, file.begin(), file.end());
    return inFolder == end && inFile != file.end();
}

} // namespace

void AddressPolicy::setAllowedFolders(std::vector<URL> folders)
{
    const std::scoped_lock lock(standing().mutex);
    standing().allowed.swap(folders);
}

bool AddressPolicy::allows(const URL& address, std::string_view operation)
{
    if (!address.isFile())
        return fail(ZelFailureCode::unsupported, operation,
                    "a document may name files only: " + address.absoluteString(), address.absoluteString());
    const std::scoped_lock lock(standing().mutex);
    if (standing().allowed.empty())
        return true;
    const std::filesystem::path file = address.filePath();
    const bool climbs = std::find(file.begin(), file.end(), "..") != file.end();
    if (!climbs && std::any_of(standing().allowed.begin(), standing().allowed.end(),
                               [&](const URL& folder) { return folder.isFile() && liesIn(file, folder.filePath()); }))
        return true;
    return fail(ZelFailureCode::unsupported, operation,
                file.filename().string() + ": a document may not name files in this folder", file.string());
}

void AddressPolicy::setNetworks(Networks networks)
{
    standing().networks = networks;
}

AddressPolicy::Networks AddressPolicy::networks()
{
    return standing().networks;
}

} // namespace zel
