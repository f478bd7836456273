#pragma once
#include <zel/platform/foundation/byte_source.h>

#include <functional>

namespace zel {

/// Calls back once, on the background pool: with what lies at the address (a file, or the body of an answer, which is
/// kept in the caches folder), or null with the reason noted. Files, and bodies that could be kept, are not held in
/// memory but for small ones (ByteSource::openLightly). Requests for one address wait for each other. The answer says
/// whether it is of use: a body that is not leaves the caches folder again.
void openAddress(const URL& address, std::function<bool(const Ref<const ByteSource>&)> completion);

} // namespace zel
