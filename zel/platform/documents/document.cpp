#include <zel/platform/documents/document.h>

#include <zel/engine/pixel_buffer.h>
#include <zel/platform/documents/helper.h>
#include <zel/platform/foundation/limits.h>
#include <zel/platform/foundation/notes.h>
#include <zel/platform/graphics/image_rows.h>

#include <fmt/format.h>

#include <algorithm>
#include <mutex>
#include <vector>

namespace zel {
namespace {

using documents::Helper;
using documents::Reply;
using documents::Request;
using documents::Status;

constexpr std::string_view operation = "document";
constexpr int mostStarts = 4;                          // a document that ends every process is given up
constexpr std::uint64_t mostDrawingBytes = 16U << 20U; // of a drawing's source; PDF files are held to inputBytes

bool sameRequest(const Request& a, const Request& b)
{
    return a.page == b.page && a.width == b.width && a.height == b.height;
}

/// Rows of a process that might still write to them: each pixel is read once, and no colour passes its alpha.
void takeRows(std::span<const std::uint8_t> from, const engine::Pixels& to)
{
    const std::size_t rowBytes = to.rowBytes();
    for (int y = 0; y < to.height; ++y) {
        std::uint8_t* row = to.row(y);
        std::copy_n(from.data() + static_cast<std::size_t>(y) * rowBytes, rowBytes, row);
        for (std::size_t x = 0; x < rowBytes; x += 4)
            for (std::size_t component = 0; component < 3; ++component)
                row[x + component] = std::min(row[x + component], row[x + 3]);
    }
}

/// Premultiplied pixels over paper.
void layOn(const Document::Paper& paper, const engine::Pixels& pixels)
{
    for (int y = 0; y < pixels.height; ++y)
        for (std::uint8_t *pixel = pixels.row(y), *end = pixel + pixels.rowBytes(); pixel != end; pixel += 4) {
            const int shows = 255 - pixel[3];
            for (std::size_t component = 0; component < 3; ++component)
                pixel[component] = static_cast<std::uint8_t>(pixel[component] + (paper[component] * shows + 127) / 255);
            pixel[3] = 255;
        }
}

bool startsDrawing(std::string_view text)
{
    if (text.starts_with("\xEF\xBB\xBF"))
        text.remove_prefix(3);
    text.remove_prefix(std::min(text.find_first_not_of(" \t\r\n"), text.size()));
    return text.starts_with("<svg") || (text.starts_with("<") && text.find("<svg") != std::string_view::npos);
}

} // namespace

struct Document::State {
    std::mutex mutex;
    Ref<const ByteSource> source;
    std::vector<std::uint8_t> kept; // where the source does not hold its bytes itself
    Kind kind = Kind::pdf;
    std::unique_ptr<Helper> helper;
    int starts = 0;
    int pages = 0;
    std::optional<Request> asked; // what the process works on
    std::optional<Deadline> deadline;

    [[nodiscard]] std::span<const std::uint8_t> bytes() const
    {
        return source->whole().empty() ? std::span<const std::uint8_t>(kept) : source->whole();
    }
    [[nodiscard]] std::string_view what() const { return kind == Kind::pdf ? "PDF document" : "drawing"; }

    bool readBytes();
    bool begin();
    bool ask(const Request& request);
    std::optional<Reply> answerTo(const Request& request);
    bool noteEnd(Helper::Wait wait, const Deadline& since);
};

bool Document::State::readBytes()
{
    if (!source->whole().empty())
        return true;
    kept.resize(source->size());
    return source->read(0, kept) == kept.size() ||
           fail(ZelFailureCode::truncated, operation, "the file ended while it was read");
}

bool Document::State::noteEnd(Helper::Wait wait, const Deadline& since)
{
    helper.reset();
    asked.reset();
    if (wait == Helper::Wait::tooLong)
        return fail(
            ZelFailureCode::limit, operation,
            fmt::format("the {} takes longer than {} s", what(), static_cast<double>(since.allowed().count()) / 1000));
    return fail(ZelFailureCode::unreadable, operation, fmt::format("rendering the {} failed", what()));
}

/// A process that has opened the document.
bool Document::State::begin()
{
    if (helper)
        return true;
    if (starts >= mostStarts)
        return fail(ZelFailureCode::unreadable, operation,
                    fmt::format("the {} has ended {} processes and is given up", what(), mostStarts));
    ++starts;
    const Deadline since;
    helper = Helper::start(kind, bytes(), operation);
    if (!helper)
        return false;
    Reply first;
    if (const auto wait = helper->answer({}, since, first); wait != Helper::Wait::answered)
        return noteEnd(wait, since);
    if (first.status == Status::done) {
        pages = std::min(first.pages, ZelLimits::current().pages);
        if (pages < first.pages)
            warn(ZelFailureCode::limit, operation,
                 fmt::format("{} pages, of which the limit leaves {}", first.pages, pages));
        return true;
    }
    helper.reset();
    if (first.status == Status::locked)
        return fail(ZelFailureCode::unsupported, operation, "the document is protected by a password");
    return fail(ZelFailureCode::notAnImage, operation, fmt::format("this is no {} that can be read", what()));
}

bool Document::State::ask(const Request& request)
{
    if (!begin())
        return false;
    deadline.emplace();
    if (!helper->ask(request))
        return noteEnd(Helper::Wait::gone, *deadline);
    asked = request;
    return true;
}

std::optional<Reply> Document::State::answerTo(const Request& request)
{
    Reply reply;
    if (asked && !sameRequest(*asked, request)) {
        // Something else was begun; its answer has to come out first.
        const NotesOnTrial unwanted;
        if (const auto wait = helper->answer(*asked, *deadline, reply); wait != Helper::Wait::answered)
            noteEnd(wait, *deadline);
        asked.reset();
    }
    if (!asked && !ask(request))
        return std::nullopt;
    const auto wait = helper->answer(request, *deadline, reply);
    asked.reset();
    if (wait != Helper::Wait::answered) {
        noteEnd(wait, *deadline);
        return std::nullopt;
    }
    if (reply.status != Status::done)
        return fail(ZelFailureCode::unreadable, operation, fmt::format("page {} does not render", request.page + 1));
    return reply;
}

Document::Document() : state_(std::make_unique<State>()) {}
Document::~Document() = default;

std::optional<Document::Kind> Document::kindOf(std::span<const std::uint8_t> head)
{
    const std::string_view text(reinterpret_cast<const char*>(head.data()), std::min(head.size(), headBytes));
    if (text.find("%PDF-") != std::string_view::npos)
        return Kind::pdf;
    return startsDrawing(text) ? std::optional(Kind::svg) : std::nullopt;
}

std::optional<Document::Kind> Document::kindOf(const ByteSource& source)
{
    std::array<std::uint8_t, headBytes> head{};
    return kindOf(std::span(head).first(source.read(0, head)));
}

Ref<Document> Document::open(const Ref<const ByteSource>& source, Kind kind)
{
    if (!source)
        return nullptr;
    const SubjectScope subject(source->subject());
    if (kind == Kind::svg && source->size() > mostDrawingBytes)
        return fail(ZelFailureCode::limit, operation,
                    fmt::format("a drawing of {} bytes exceeds the limit of {}", source->size(), mostDrawingBytes));
    Ref<Document> document(new Document);
    document->state_->source = source;
    document->state_->kind = kind;
    return document->state_->readBytes() && document->state_->begin() ? document : nullptr;
}

int Document::pageCount() const
{
    return state_->pages;
}

std::optional<CGSize> Document::pageSize(int page)
{
    const std::scoped_lock lock(state_->mutex);
    const SubjectScope subject(state_->source->subject());
    Request request;
    request.page = page;
    const std::optional<Reply> reply = state_->answerTo(request);
    return reply ? std::optional(CGSize{reply->pointWidth, reply->pointHeight}) : std::nullopt;
}

Ref<const CGImage> Document::render(int page, int width, int height, std::optional<Paper> paper)
{
    const std::scoped_lock lock(state_->mutex);
    const SubjectScope subject(state_->source->subject());
    if (!withinDecodeLimits(width, height, 4, operation))
        return nullptr;
    CGImage::Layout layout;
    layout.width = width;
    layout.height = height;
    Request request;
    request.page = page;
    request.width = width;
    request.height = height;
    if (!state_->answerTo(request))
        return nullptr;
    engine::PixelBuffer pixels(width, height);
    if (pixels.empty())
        return fail(ZelFailureCode::outOfMemory, operation, fmt::format("no memory for {} x {} pixels", width, height));
    takeRows(state_->helper->rows(), pixels.pixels());
    if (paper) {
        layOn(*paper, pixels.pixels());
        layout.alphaInfo = CGAlphaInfo::noneSkipLast;
    }
    return makeImage(layout, std::move(pixels));
}

void Document::renderAhead(int page, int width, int height)
{
    const std::scoped_lock lock(state_->mutex);
    if (page < 0 || page >= state_->pages || !state_->helper || state_->asked)
        return;
    const NotesOnTrial mayFail; // whatever it is, `render` meets it again
    if (!withinDecodeLimits(width, height, 4, operation))
        return;
    Request request;
    request.page = page;
    request.width = width;
    request.height = height;
    state_->ask(request);
}

} // namespace zel
