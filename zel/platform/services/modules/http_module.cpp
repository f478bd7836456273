#include <zel/platform/services/modules/http_module.h>

#include <zel/export.h>
#include <zel/platform/foundation/modules.h>

#include <arpa/inet.h>
#include <array>
#include <cstring>
#include <curl/curl.h>
#include <memory>
#include <mutex>
#include <netinet/in.h>
#include <string_view>
#include <sys/socket.h>
#include <unistd.h>

// libcurl behind the module's interface. Addresses are judged when a socket is opened, after names were resolved, so
// that a name that changes its meaning between two looks gains nothing.
namespace zel::http {
namespace {

constexpr long slowBytes = 1024, slowSeconds = 20;

struct Transfer {
    const Request& request;
    bool wasPublic = false; ///< the first address that was connected to
    bool isRedirected = false;
    bool isRefused = false;
};

bool isPrivate4(std::uint32_t address)
{
    struct Range {
        std::uint32_t first, bits;
    };
    // "This" network, private use, shared space, loopback, link-local, protocol assignments, benchmarks, multicast and
    // reserved (RFC 6890).
    constexpr std::array<Range, 10> ranges = {{{0x00000000, 8},
                                               {0x0A000000, 8},
                                               {0x64400000, 10},
                                               {0x7F000000, 8},
                                               {0xA9FE0000, 16},
                                               {0xAC100000, 12},
                                               {0xC0000000, 24},
                                               {0xC0A80000, 16},
                                               {0xC6120000, 15},
                                               {0xE0000000, 3}}};
    for (const Range& range : ranges)
        if (address >> (32 - range.bits) == range.first >> (32 - range.bits))
            return true;
    return false;
}

bool isPrivate6(const std::array<std::uint8_t, 16>& bytes)
{
    const auto four = [&bytes](std::size_t from) {
        return std::uint32_t{bytes[from]} << 24U | std::uint32_t{bytes[from + 1]} << 16U |
               std::uint32_t{bytes[from + 2]} << 8U | bytes[from + 3];
    };
    bool zeros = true;
    for (std::size_t i = 0; i < 10; ++i)
        zeros = zeros && bytes[i] == 0;
    if (zeros && ((bytes[10] == 0xFF && bytes[11] == 0xFF) || (bytes[10] == 0 && bytes[11] == 0)))
        return isPrivate4(four(12)) || four(12) <= 1; // an IPv4 address written as IPv6, :: and ::1
    if (four(0) == 0x0064FF9B)
        return isPrivate4(four(12)); // translated IPv4
    const bool isLocal = (bytes[0] & 0xFEU) == 0xFC, isLink = bytes[0] == 0xFE && (bytes[1] & 0x80U) != 0;
    return isLocal || isLink || bytes[0] == 0xFF;
}

bool isPrivate(const sockaddr& address)
{
    if (address.sa_family == AF_INET) {
        sockaddr_in four{};
        std::memcpy(&four, &address, sizeof four);
        return isPrivate4(ntohl(four.sin_addr.s_addr));
    }
    if (address.sa_family == AF_INET6) {
        sockaddr_in6 six{};
        std::memcpy(&six, &address, sizeof six);
        std::array<std::uint8_t, 16> bytes{};
        std::memcpy(bytes.data(), &six.sin6_addr, bytes.size());
        return isPrivate6(bytes);
    }
    return true;
}

curl_socket_t openSocket(void* context, curlsocktype, curl_sockaddr* address)
{
    auto& transfer = *static_cast<Transfer*>(context);
    const bool closed = isPrivate(address->addr);
    if (closed && (transfer.request.publicOnly || (transfer.isRedirected && transfer.wasPublic))) {
        transfer.isRefused = true;
        return CURL_SOCKET_BAD;
    }
    if (!transfer.isRedirected && !closed)
        transfer.wasPublic = true;
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
