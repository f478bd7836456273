#pragma once
#include <zel/platform/foundation/url.h>

namespace zel {

struct FetchOptions {
    std::optional<double> seconds = {}; ///< the whole transfer; at most and without one `ZelLimits::downloadTime`
};

/// The bytes at an address, on this thread: a file on this machine where the address itself is one, else over http or
/// https. Absent with the reason noted: `network` (no connection, an answer other than 2xx, too slow, a redirect to
/// another scheme or from https to http, a machine that `AddressPolicy::Networks` rules out, more than ten redirects),
/// `limit` (`downloadBytes`), `missingPart` (the module is not installed), `cancelled`, or what reading a file gives.
/// At most six transfers run at once, two of them with one host; others wait, and the wait counts.
std::optional<Data> fetch(const URL& address, const FetchOptions& options = {});

struct PostedFile {
    URL to;
    std::string name; ///< of the file, as the server is told
    std::string mediaType;
};
/// Posts bytes as the file "file" of a form (multipart/form-data); redirects are not followed. True where the answer
/// was 2xx; else false with the reason noted.
bool post(const PostedFile& file, const Data& bytes);

} // namespace zel
