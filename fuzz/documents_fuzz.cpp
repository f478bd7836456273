// What comes from outside about documents. The first byte even: the replies of a program that renders, as the library
// hears them, in the hands of a stranger; odd: the first bytes of what may be a document.
#include "target.h"

#include <zel/platform/documents/document.h>
#include <zel/platform/documents/helper.h>
#include <zel/platform/foundation/failure.h>
#include <zel/platform/foundation/limits.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

namespace {

using namespace zel;
using documents::Helper;
using documents::Reply;
using documents::Request;
using documents::Status;
using fuzz::require;

/// What the library asks, in turn: a size, a small page, a larger one, rows longer than a band.
Request requestOf(int turn)
{
    constexpr int sides[] = {0, 16, 300, 70000};
    Request request;
    request.page = turn;
    request.band = turn % 3;
    request.width = request.height = sides[turn % 4];
    return request;
}

void checkAnswer(const Helper& helper, const Request& request, const Reply& reply)
{
    require(reply.version == documents::version && reply.status <= Status::noPage, "a reply of this version");
    require(reply.pages >= 0, "a number of pages");
    for (const double side : {reply.pointWidth, reply.pointHeight})
        require(std::isfinite(side) && side >= 0, "sides of a page");
    if (request.width == 0 || reply.status != Status::done)
        return;
    require(reply.width == request.width && reply.height == request.height, "the sides that were asked for");
    const auto bytes = static_cast<std::size_t>(request.width) * 4;
    const auto band = helper.band(request);
    require(band.size() >= bytes * static_cast<std::size_t>(documents::rowsOfBand(request.width)), "room for the rows");
    require(std::count(band.begin(), band.end(), std::uint8_t{1}) == 0, "rows that can be read");
}

/// Messages of the lengths that the input gives; the other end leaves when it is used up.
void converse(fuzz::Choices choices)
{
    int ends[2] = {-1, -1};
    require(::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) == 0, "a socket");
    const auto helper = Helper::over(ends[0]);
    require(helper != nullptr, "memory");
    bool isThere = true;
    for (int turn = 0; turn < 16; ++turn) {
        const Request request = requestOf(turn);
        const bool asked = helper->ask(request);
        require(asked == isThere, "a request that goes through while somebody is there");
        if (!asked)
            break;
        if (choices.any()) {
            std::vector<std::uint8_t> message(choices.byte());
            std::generate(message.begin(), message.end(), [&] { return choices.byte(); });
            // An empty message cannot be told from the end, and counts as one.
            isThere = ::send(ends[1], message.data(), message.size(), MSG_NOSIGNAL) >= 0;
        } else {
            ::close(ends[1]);
            isThere = false;
        }
        Reply reply;
        const auto wait = helper->answer(request, Deadline(std::chrono::milliseconds(1000)), reply);
        require(wait != Helper::Wait::tooLong, "an answer or an end");
        if (wait != Helper::Wait::answered)
            break;
        checkAnswer(*helper, request, reply);
    }
    if (isThere)
        ::close(ends[1]);
}

void look(std::span<const std::uint8_t> bytes)
{
    const auto kind = Document::kindOf(bytes);
    require(kind == Document::kindOf(bytes.first(std::min(bytes.size(), Document::headBytes))), "judged by its head");
    const auto source = ByteSource::view(bytes);
    const auto found = Document::kindOf(*source);
    require(!found || found == kind, "the same kind, or a picture");
    if (!found)
        return;
    ZelFailure::clear();
    require(Document::open(source, *found) == nullptr, "no document without a program");
    require(ZelFailure::last().code == ZelFailureCode::missingPart, "a note of what is missing");
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    documents::useProgram("/missing/program");
    if (size == 0)
        return 0;
    if (data[0] % 2 == 0)
        converse({data + 1, size - 1});
    else
        look({data + 1, size - 1});
    return 0;
}
