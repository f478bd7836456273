#pragma once
#include <zel/export.h>
#include <zel/platform/foundation/url.h>

// A document may come from a stranger, and the addresses in it name files of whoever opens it.
namespace zel::AddressPolicy {

/// The folders that files named inside documents must lie in, for the whole process; an empty list, as from the
/// beginning, allows every folder. What are no files in the list counts as a folder that holds nothing.
ZEL_API void setAllowedFolders(std::vector<URL> folders);

/// Whether an address found in a document may be opened: a file on this machine, in an allowed folder where such are
/// set (then without ".." in its path, whose meaning depends on links). What is not allowed is noted. Whether it is a
/// regular file is asked when it is opened.
bool allows(const URL& address, std::string_view operation);

/// The machines that web addresses may lead to, for the whole process. Where a proxy is used, it is the proxy that is
/// connected to and judged.
enum class Networks {
    publicOnly, ///< those of the public internet alone: for hosts that show what strangers wrote
    named,      ///< any that the caller's address names; a redirect leads to a private address only where that was it
    all,
};
/// `named` from the beginning.
ZEL_API void setNetworks(Networks networks);
Networks networks();

} // namespace zel::AddressPolicy
