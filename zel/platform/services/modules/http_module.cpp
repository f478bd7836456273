#include <zel/platform/services/modules/http_module.h>

#include <zel/export.h>
#include <zel/platform/foundation/modules.h>

#include <array>
#include <cstddef>
#include <cstring>
#include <curl/curl.h>
#include <memory>
#include <mutex>
#include <netinet/in.h>
#include <string_view>
#include <sys/socket.h>

// libcurl behind the module's interface.
namespace zel::http {
namespace {

constexpr long slowBytes = 1024, slowSeconds = 20;

struct Transfer {
    const Request& request;
    bool isRedirected = false;
    bool isRefused = false;
};

/// An address as bytes, the highest first; none for what is neither IPv4 nor IPv6.
struct AddressBytes {
    explicit AddressBytes(const sockaddr& address)
    {
        const auto* const start = reinterpret_cast<const std::uint8_t*>(&address);
        if (address.sa_family == AF_INET)
            std::memcpy(bytes.data(), start + offsetof(sockaddr_in, sin_addr), count = sizeof(in_addr));
        else if (address.sa_family == AF_INET6)
            std::memcpy(bytes.data(), start + offsetof(sockaddr_in6, sin6_addr), count = sizeof(in6_addr));
    }
    std::array<std::uint8_t, sizeof(in6_addr)> bytes{};
    std::size_t count = 0;
};

curl_socket_t openSocket(void* context, curlsocktype, curl_sockaddr* address)
{
    auto& transfer = *static_cast<Transfer*>(context);
    const Request& request = transfer.request;
    const AddressBytes bytes(address->addr);
    if (!request.connects(request.context, bytes.bytes.data(), bytes.count, transfer.isRedirected)) {
        transfer.isRefused = true;
        return CURL_SOCKET_BAD;
    }
    transfer.isRefused = false; // a name may have an address that is allowed beside others
    return socket(address->family, address->socktype | SOCK_CLOEXEC, address->protocol);
}

std::size_t receiveHeader(char* bytes, std::size_t, std::size_t count, void* context)
{
    // "HTTP/1.1 302 Found": whatever is connected to from here on was named by a server.
    const std::string_view line(bytes, count);
    const std::size_t blank = line.find(' ');
    if (line.starts_with("HTTP/") && blank != std::string_view::npos && line.substr(blank + 1).starts_with('3'))
        static_cast<Transfer*>(context)->isRedirected = true;
    return count;
}

std::size_t receiveBody(char* bytes, std::size_t, std::size_t count, void* context)
{
    const Request& request = static_cast<Transfer*>(context)->request;
    return request.receive(request.context, bytes, count) ? count : 0;
}

int look(void* context, curl_off_t ofDown, curl_off_t down, curl_off_t ofUp, curl_off_t up)
{
    const Request& request = static_cast<Transfer*>(context)->request;
    const bool sends = request.fileName != nullptr;
    return request.goesOn(request.context, static_cast<std::uint64_t>(sends ? up : down),
                          static_cast<std::uint64_t>(sends ? ofUp : ofDown))
               ? 0
               : 1;
}

/// True where the texts were taken.
bool describe(CURL* curl, const Request& request)
{
    const bool isSafe = std::string_view(request.address).starts_with("https:");
    bool good = curl_easy_setopt(curl, CURLOPT_URL, request.address) == CURLE_OK;
    good = good && curl_easy_setopt(curl, CURLOPT_PROTOCOLS_STR, "http,https") == CURLE_OK;
    good = good && curl_easy_setopt(curl, CURLOPT_REDIR_PROTOCOLS_STR, isSafe ? "https" : "http,https") == CURLE_OK;
    curl_easy_setopt(curl, CURLOPT_FOLLOWLOCATION, request.redirects > 0 ? 1L : 0L);
    curl_easy_setopt(curl, CURLOPT_MAXREDIRS, static_cast<long>(request.redirects));
    curl_easy_setopt(curl, CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(request.connectMilliseconds));
    curl_easy_setopt(curl, CURLOPT_TIMEOUT_MS, static_cast<long>(request.wholeMilliseconds));
    curl_easy_setopt(curl, CURLOPT_LOW_SPEED_LIMIT, slowBytes);
    curl_easy_setopt(curl, CURLOPT_LOW_SPEED_TIME, slowSeconds);
    curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(curl, CURLOPT_NETRC, static_cast<long>(CURL_NETRC_IGNORED));
    curl_easy_setopt(curl, CURLOPT_USERAGENT, "ZelImaging");
    return good;
}

CURLcode run(CURL* curl, Transfer& transfer)
{
    curl_easy_setopt(curl, CURLOPT_OPENSOCKETFUNCTION, openSocket);
    curl_easy_setopt(curl, CURLOPT_OPENSOCKETDATA, &transfer);
    curl_easy_setopt(curl, CURLOPT_HEADERFUNCTION, receiveHeader);
    curl_easy_setopt(curl, CURLOPT_HEADERDATA, &transfer);
    curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, receiveBody);
    curl_easy_setopt(curl, CURLOPT_WRITEDATA, &transfer);
    curl_easy_setopt(curl, CURLOPT_NOPROGRESS, 0L);
    curl_easy_setopt(curl, CURLOPT_XFERINFOFUNCTION, look);
    curl_easy_setopt(curl, CURLOPT_XFERINFODATA, &transfer);

    const Request& request = transfer.request;
    const std::unique_ptr<curl_mime, decltype(&curl_mime_free)> form(
        request.fileName != nullptr ? curl_mime_init(curl) : nullptr, curl_mime_free);
    if (request.fileName != nullptr) {
        curl_mimepart* const part = form ? curl_mime_addpart(form.get()) : nullptr;
        if (part == nullptr || curl_mime_name(part, "file") != CURLE_OK ||
            curl_mime_filename(part, request.fileName) != CURLE_OK ||
            curl_mime_type(part, request.mediaType) != CURLE_OK ||
            curl_mime_data(part, static_cast<const char*>(request.body), request.bodySize) != CURLE_OK)
            return CURLE_OUT_OF_MEMORY;
        curl_easy_setopt(curl, CURLOPT_MIMEPOST, form.get());
    }
    return curl_easy_perform(curl);
}

/// Cut where it is too long.
void tell(Reply& reply, std::string_view words)
{
    reply.reason[words.copy(reply.reason, sizeof reply.reason - 1)] = 0;
}

void perform(const Request& request, Reply& reply)
{
    static std::once_flag once;
    std::call_once(once, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
    const std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> curl(curl_easy_init(), curl_easy_cleanup);
    Transfer transfer{request};
    if (!curl || !describe(curl.get(), request)) {
        tell(reply, "libcurl does not take the address");
        return;
    }
    std::array<char, CURL_ERROR_SIZE> words{};
    curl_easy_setopt(curl.get(), CURLOPT_ERRORBUFFER, words.data());
    const CURLcode code = run(curl.get(), transfer);
    curl_easy_getinfo(curl.get(), CURLINFO_RESPONSE_CODE, &reply.status);
    reply.outcome = code == CURLE_OK                                                 ? Outcome::done
                    : transfer.isRefused                                             ? Outcome::refusedAddress
                    : code == CURLE_OPERATION_TIMEDOUT                               ? Outcome::timedOut
                    : code == CURLE_WRITE_ERROR || code == CURLE_ABORTED_BY_CALLBACK ? Outcome::stopped
                                                                                     : Outcome::failed;
    tell(reply, words[0] != 0 ? words.data() : curl_easy_strerror(code));
}

constexpr Api api = {perform};

} // namespace
} // namespace zel::http

extern "C" ZEL_API zel::ModuleEntry zel_module()
{
    return {zel::http::Api::version, &zel::http::api};
}
