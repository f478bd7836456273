#include <zel/platform/services/http.h>

#include <zel/platform/foundation/limits.h>
#include <zel/platform/foundation/modules.h>
#include <zel/platform/foundation/notes.h>
#include <zel/platform/services/modules/http_module.h>
#include <zel/platform/services/network_policy.h>

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <condition_variable>
#include <map>
#include <mutex>

namespace zel {
namespace {

using std::chrono::milliseconds;

constexpr int mostRedirects = 10;
constexpr milliseconds connectTime{10'000};
constexpr milliseconds clockError{20};
constexpr int mostTransfers = 6, mostWithOneHost = 2;

/// A place among the transfers that run at once.
class Turn {
public:
    /// Waits; `isHeld` is false where the time passed or the work was cancelled first.
    Turn(std::string host, std::chrono::steady_clock::time_point end, std::string_view operation)
        : host_(std::move(host))
    {
        std::unique_lock lock(shared().mutex);
        while (shared().running >= mostTransfers || withHost() >= mostWithOneHost) {
            constexpr milliseconds look{50}; // a cancelled one does not wait for others to end
            shared().ended.wait_for(lock, look);
            lock.unlock();
            const bool goesOn = keepGoing(0, operation) && std::chrono::steady_clock::now() < end;
            lock.lock();
            if (!goesOn)
                return;
        }
        ++shared().running;
        ++shared().hosts[host_];
        isHeld_ = true;
    }
    ~Turn()
    {
        if (!isHeld_)
            return;
        const std::scoped_lock lock(shared().mutex);
        --shared().running;
        if (--shared().hosts[host_] == 0)
            shared().hosts.erase(host_);
        shared().ended.notify_all();
    }
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;
    [[nodiscard]] bool isHeld() const { return isHeld_; }

private:
    struct Shared {
        std::mutex mutex;
        std::condition_variable ended;
        int running = 0;
        std::map<std::string, int> hosts;
    };
    // Never destroyed: transfers may still run while the process ends.
    static Shared& shared()
    {
        static Shared& instance = *new Shared;
        return instance;
    }
    [[nodiscard]] int withHost() const
    {
        const auto found = shared().hosts.find(host_);
        return found == shared().hosts.end() ? 0 : found->second;
    }

    std::string host_;
    bool isHeld_ = false;
};

/// The text of an http or https address, its scheme in small letters; empty for all others.
std::string webText(const URL& address)
{
    std::string text = address.absoluteString();
    const std::size_t colon = std::min(text.find(':'), text.size());
    std::transform(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(colon), text.begin(), [](char letter) {
        return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter + ('a' - 'A')) : letter;
    });
    return text.starts_with("http://") || text.starts_with("https://") ? text : std::string();
}

/// Host and port, in the letters of the address.
std::string authorityOf(const std::string& address)
{
    const std::size_t begin = address.find("//") + 2;
    return address.substr(begin, address.find_first_of("/?#", begin) - begin);
}

/// What comes back, held to the limit, from where it may come.
struct Receiver {
    std::vector<std::uint8_t> bytes;
    std::uint64_t limit = 0;
    std::string_view operation;
    bool isTooLarge = false, isOutOfMemory = false, isCancelled = false;
    NetworkPolicy policy = NetworkPolicy(AddressPolicy::networks());

    static bool connects(void* context, const std::uint8_t* address, std::size_t count, bool redirected)
    {
        Receiver& self = *static_cast<Receiver*>(context);
        try {
            return self.policy.allows({address, count}, redirected);
        } catch (const std::bad_alloc&) {
            self.isOutOfMemory = true;
            return false;
        }
    }
    static bool receive(void* context, const void* from, std::size_t count)
    {
        Receiver& self = *static_cast<Receiver*>(context);
        if (count > self.limit - self.bytes.size()) {
            self.isTooLarge = true;
            return false;
        }
        try {
            const auto* const first = static_cast<const std::uint8_t*>(from);
            self.bytes.insert(self.bytes.end(), first, first + count);
        } catch (const std::bad_alloc&) {
            self.isOutOfMemory = true;
        }
        return !self.isOutOfMemory;
    }
    static bool goesOn(void* context, std::uint64_t done, std::uint64_t of)
    {
        Receiver& self = *static_cast<Receiver*>(context);
        const double fraction = of > 0 ? static_cast<double>(done) / static_cast<double>(of) : 0;
        self.isCancelled = !keepGoing(fraction, self.operation);
        return !self.isCancelled;
    }
};

/// True where an answer of 2xx came, which is then in `receiver`; else the reason is noted.
bool transfer(http::Request request, milliseconds time, Receiver& receiver)
{
    const std::string address = request.address;
    const auto* const api = openModule<http::Api>("http", "zelimaging-http");
    if (api == nullptr)
        return false;
    const auto end = std::chrono::steady_clock::now() + time;
    const auto late = [&](const char* what) {
        return fail(ZelFailureCode::network, receiver.operation,
                    fmt::format("{} within {:.3g} s", what, static_cast<double>(time.count()) / 1000), address);
    };
    const Turn turn(authorityOf(address), end, receiver.operation);
    if (!turn.isHeld())
        return std::chrono::steady_clock::now() < end ? false : static_cast<bool>(late("other transfers did not end"));
    const auto left = std::chrono::duration_cast<milliseconds>(end - std::chrono::steady_clock::now());
    request.wholeMilliseconds = std::max<std::int64_t>(left.count(), 1);
    request.connectMilliseconds = std::min<std::int64_t>(connectTime.count(), request.wholeMilliseconds);
    request.context = &receiver;
    request.connects = Receiver::connects;
    request.receive = Receiver::receive;
    request.goesOn = Receiver::goesOn;
    http::Reply reply;
    api->perform(request, reply);

    if (receiver.isCancelled)
        return false; // noted where it was seen
    if (receiver.isOutOfMemory)
        return fail(ZelFailureCode::outOfMemory, receiver.operation, "no memory for what comes back", address);
    if (receiver.isTooLarge)
        return fail(ZelFailureCode::limit, receiver.operation,
                    fmt::format("what comes back is larger than the limit of {} bytes", receiver.limit), address);
    switch (reply.outcome) {
    case http::Outcome::timedOut:
        if (std::chrono::steady_clock::now() + clockError >= end)
            return late("it did not end");
        return fail(ZelFailureCode::network, receiver.operation, reply.reason, address); // to connect, or too slow
    case http::Outcome::refusedAddress:
        return fail(ZelFailureCode::network, receiver.operation,
                    AddressPolicy::networks() == AddressPolicy::Networks::publicOnly
                        ? "it leads into a private network"
                        : "a redirect leads into a private network",
                    address);
    case http::Outcome::stopped:
    case http::Outcome::failed:
        return fail(ZelFailureCode::network, receiver.operation, reply.reason, address);
    case http::Outcome::done:
        break;
    }
    if (reply.status < 200 || reply.status > 299)
        return fail(reply.status == 404 ? ZelFailureCode::notFound : ZelFailureCode::network, receiver.operation,
                    fmt::format("the server answered {}", reply.status), address);
    return true;
}

milliseconds timeFor(const FetchOptions& options)
{
    milliseconds time = ZelLimits::current().downloadTime;
    constexpr milliseconds noEnd = std::chrono::hours(24);
    if (time <= milliseconds(0))
        time = noEnd;
    if (options.seconds && *options.seconds > 0 && *options.seconds < static_cast<double>(time.count()) / 1000)
        time = milliseconds(std::max<std::int64_t>(std::llround(*options.seconds * 1000), 1));
    return time;
}

std::uint64_t mostBytes()
{
    return ZelLimits::current().downloadBytes;
}

} // namespace

std::optional<Data> fetch(const URL& address, const FetchOptions& options)
{
    if (address.isFile())
        return Data::read(address);
    const std::string text = webText(address);
    if (text.empty())
        return fail(ZelFailureCode::unsupported, "fetch", "neither a file nor an http or https address",
                    address.absoluteString());
    Receiver receiver{.bytes = {}, .limit = mostBytes(), .operation = "fetch"};
    http::Request request;
    request.address = text.c_str();
    request.redirects = mostRedirects;
    if (!transfer(request, timeFor(options), receiver))
        return std::nullopt;
    return Data(std::move(receiver.bytes));
}

bool post(const PostedFile& file, const Data& bytes)
{
    const std::string text = webText(file.to);
    if (text.empty())
        return fail(ZelFailureCode::invalidArgument, "upload", "only http and https addresses take uploads",
                    file.to.absoluteString());
    const auto isControl = [](char letter) { return static_cast<unsigned char>(letter) < ' ' || letter == 0x7F; };
    if (std::any_of(file.name.begin(), file.name.end(), isControl) || file.name.empty())
        return fail(ZelFailureCode::invalidArgument, "upload", "a file's name holds no control characters", text);
    Receiver receiver{.bytes = {}, .limit = mostBytes(), .operation = "upload"};
    http::Request request;
    request.address = text.c_str();
    request.fileName = file.name.c_str();
    request.mediaType = file.mediaType.c_str();
    request.body = bytes.data();
    request.bodySize = bytes.size();
    return transfer(request, timeFor({}), receiver);
}

} // namespace zel
