#include "document.h"
#include "lockdown.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

// zel-documents BYTES SECONDS, zel-drawings BYTES SECONDS: render the pages of one document for the library, which
// starts them and talks to them as protocol.h tells; of no use by themselves. They fence themselves in before they read
// the first byte of the document.
namespace zel::documents {
namespace {

std::optional<std::uint64_t> number(std::string_view text)
{
    std::uint64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc{} && end == text.data() + text.size() ? std::optional(value) : std::nullopt;
}

/// Has the heap go on behind a huge page at its border: it begins and has ended anywhere, and the first picture of a
/// page would take small pages up to the border that follows.
void beginHugePage()
{
    constexpr std::size_t huge = std::size_t{2} << 20;
    if (void* const page = std::aligned_alloc(huge, huge); page != nullptr)
        *static_cast<volatile char*>(page) = 0; // stays for good, which compilers would else see no use in
}

/// A descriptor's memory as far as it reaches now; empty where there is none.
class Mapping {
public:
    Mapping(int descriptor, int access) : descriptor_(descriptor), access_(access) {}
    ~Mapping() { unmap(); }
    Mapping(const Mapping&) = delete;
    Mapping& operator=(const Mapping&) = delete;

    std::span<std::uint8_t> reach()
    {
        struct stat facts {};
        if (::fstat(descriptor_, &facts) != 0 || facts.st_size <= 0)
            return {};
        const auto size = static_cast<std::size_t>(facts.st_size);
        if (size != mapped_.size()) {
            unmap();
            // What is written is written again and again: all of its pages at once, without a fault for each.
            const int flags = (access_ & PROT_WRITE) != 0 ? MAP_SHARED | MAP_POPULATE : MAP_SHARED;
            void* memory = ::mmap(nullptr, size, access_, flags, descriptor_, 0);
            if (memory != MAP_FAILED)
                mapped_ = {static_cast<std::uint8_t*>(memory), size};
        }
        return mapped_;
    }

private:
    void unmap()
    {
        if (!mapped_.empty())
            ::munmap(mapped_.data(), mapped_.size());
        mapped_ = {};
    }

    int descriptor_;
    int access_;
    std::span<std::uint8_t> mapped_;
};

bool say(const Reply& reply)
{
    return ::send(socketDescriptor, &reply, sizeof reply, MSG_NOSIGNAL) == static_cast<ssize_t>(sizeof reply);
}

bool hear(Request& request)
{
    for (;;) {
        const ssize_t length = ::recv(socketDescriptor, &request, sizeof request, 0);
        if (length < 0 && errno == EINTR)
            continue;
        return length == static_cast<ssize_t>(sizeof request) && request.version == version;
    }
}

bool isOfSamePage(const Request& a, const Request& b)
{
    return a.page == b.page && a.width == b.width && a.height == b.height;
}

/// `drawn`: what was asked when a page was drawn last; without sides: nothing is drawn.
Reply answer(Document& document, const Request& request, Mapping& rows, Request& drawn)
{
    Reply reply;
    reply.pages = document.pages();
    reply.status = Status::noPage;
    const std::optional<PointSize> size = document.size(request.page);
    if (!size)
        return reply;
    reply.pointWidth = size->width;
    reply.pointHeight = size->height;
    if (request.width < 1 || request.height < 1) {
        reply.status = Status::done;
        return reply;
    }
    const std::span<std::uint8_t> memory = rows.reach();
    const std::int64_t rowsAtOnce = rowsOfBand(request.width), top = rowsAtOnce * request.band;
    if (memory.size() < memoryFor(request.width) || top < 0 || top >= request.height)
        return reply;
    if (!isOfSamePage(drawn, request)) {
        drawn = {};
        if (!document.render(request.page, request.width, request.height))
            return reply;
        drawn = request;
    }
    std::uint8_t* to = memory.data() + bandOffset(request.width, request.band);
    for (std::int64_t y = top; y < std::min<std::int64_t>(request.height, top + rowsAtOnce); ++y) {
        document.copyRow(static_cast<int>(y), request.paper, to);
        to += 4 * static_cast<std::size_t>(request.width);
    }
    reply.status = Status::done;
    reply.width = request.width;
    reply.height = request.height;
    return reply;
}

int serve(std::uint64_t seconds)
{
    Mapping input(bytesDescriptor, PROT_READ);
    Mapping rows(rowsDescriptor, PROT_READ | PROT_WRITE);
    allowSeconds(seconds);
    const Opened opened = openDocument(input.reach());
    Reply first;
    first.status = opened.status;
    first.pages = opened.document ? opened.document->pages() : 0;
    if (!say(first) || !opened.document)
        return 1;
    Request request, drawn;
    while (hear(request)) {
        if (request.band == 0)
            allowSeconds(seconds);
        if (!say(answer(*opened.document, request, rows, drawn)))
            return 1;
    }
    return 0;
}

} // namespace
} // namespace zel::documents

int main(int argumentCount, char** arguments)
{
    using namespace zel::documents;
    if (argumentCount != 1 + zel::documents::argumentCount)
        return 2;
    const auto bytes = number(arguments[1]), seconds = number(arguments[2]);
    if (!bytes || !seconds)
        return 2;
    prepare();
    beginHugePage();
    if (!lockDown(*bytes))
        return 3;
    // What libraries would do at an orderly end is of no use to anybody.
    ::_exit(serve(*seconds));
}
