#include "seeds.h"

#include <zel/platform/documents/protocol.h>

#include <algorithm>
#include <cstring>
#include <utility>

namespace zel::seeds {
namespace {

using documents::Reply;
using documents::Status;

/// A conversation: each reply behind its length.
Seed conversation(const std::string& name, const std::vector<Reply>& replies)
{
    Seed seed{"replies-" + name, {0}, 0, 0};
    for (const Reply& reply : replies) {
        Bytes bytes(sizeof reply);
        std::memcpy(bytes.data(), &reply, sizeof reply);
        seed.bytes.push_back(sizeof reply);
        seed.bytes.insert(seed.bytes.end(), bytes.begin(), bytes.end());
    }
    return seed;
}

Reply answer(int side)
{
    Reply reply;
    reply.pages = 3;
    reply.width = reply.height = side;
    reply.pointWidth = 595.276;
    reply.pointHeight = 841.89;
    return reply;
}

Reply refusal(Status status)
{
    Reply reply;
    reply.status = status;
    return reply;
}

Seed head(const std::string& name, const std::string& text)
{
    Bytes bytes(1 + text.size(), 1);
    std::copy(text.begin(), text.end(), bytes.begin() + 1);
    return {"head-" + name, std::move(bytes), 0, 0};
}

} // namespace

std::vector<Seed> documentSeeds()
{
    return {
        conversation("honest", {answer(0), answer(16), answer(300), answer(16), answer(0)}),
        conversation("of-other-sides", {answer(0), answer(300)}),
        conversation("locked", {refusal(Status::locked)}),
        conversation("no-page", {answer(0), refusal(Status::noPage), answer(300)}),
        conversation("none", {}),
        head("pdf", "%PDF-1.7\n%\xE2\xE3\xCF\xD3\n1 0 obj\n<</Type/Catalog>>\nendobj\n"),
        head("pdf-late", "\r\n\r\n" + std::string(900, ' ') + "%PDF-1.4\n"),
        head("svg", "<svg xmlns='http://www.w3.org/2000/svg' width='8' height='8'/>"),
        head("svg-late", "\xEF\xBB\xBF<?xml version=\"1.0\"?><!-- a drawing --><!DOCTYPE svg>\n<svg/>"),
        head("html", "<html><body><svg/></body></html>"),
        head("picture", "P6\n# %PDF-1.4\n2 1\n255\nabcdef"),
    };
}

} // namespace zel::seeds
