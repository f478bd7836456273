#include <zel/platform/documents/document.h>

#include <zel/engine/parallel.h>
#include <zel/engine/pixel_buffer.h>
#include <zel/platform/codecs/codec.h>
#include <zel/platform/documents/helper.h>
#include <zel/platform/foundation/limits.h>
#include <zel/platform/foundation/notes.h>
#include <zel/platform/graphics/image_rows.h>

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <limits>
#include <mutex>
#include <vector>

// A process takes one request at a time. What was begun ahead stays with its process until it is taken or something
// else is rendered there; asking for a size disturbs nothing.
namespace zel {
namespace {

using documents::Helper;
using documents::Reply;
using documents::Request;
using documents::SharedBytes;
using documents::Status;

constexpr std::string_view operation = "document";
constexpr int mostEnds = 4;                            // a document that ends every process is given up
constexpr std::uint64_t mostDrawingBytes = 16U << 20U; // of a drawing's source; PDF files are held to inputBytes

Request requestFor(int page, int width, int height, const std::optional<Document::Paper>& paper)
{
    Request request;
    request.page = page;
    request.width = width;
    request.height = height;
    if (paper)
        request.paper = 0xFF000000U | static_cast<std::uint32_t>((*paper)[0] << 16 | (*paper)[1] << 8 | (*paper)[2]);
    return request;
}

bool wantsRows(const Request& request)
{
    return request.width > 0;
}

/// Rows of a process that might still write to them: each pixel is read once; it is opaque where that is said, and else
/// no colour passes its alpha.
void takeRows(std::span<const std::uint8_t> from, const engine::Pixels& to, bool opaque)
{
    const std::size_t rowBytes = to.rowBytes();
    const auto alpha = std::bit_cast<std::uint32_t>(std::array<std::uint8_t, 4>{0, 0, 0, 255});
    for (int y = 0; y < to.height; ++y) {
        const std::uint8_t* const source = from.data() + static_cast<std::size_t>(y) * rowBytes;
        std::uint8_t* const row = to.row(y);
        if (opaque) {
            for (std::size_t x = 0; x < rowBytes; x += 4) {
                std::uint32_t pixel = 0;
                std::memcpy(&pixel, source + x, sizeof pixel);
                pixel |= alpha;
                std::memcpy(row + x, &pixel, sizeof pixel);
            }
            continue;
        }
        std::memcpy(row, source, rowBytes);
        for (std::size_t x = 0; x < rowBytes; x += 4)
            for (std::size_t component = 0; component < 3; ++component)
                row[x + component] = std::min(row[x + component], row[x + 3]);
    }
}

/// While a process renders: fresh memory costs its first use, and so do the threads that work on it later.
void touch(const engine::Pixels& pixels)
{
    constexpr std::size_t memoryPage = 4096;
    const std::size_t rowBytes = pixels.rowBytes();
    engine::parallelFor(pixels.height, pixels.width, [&](int top, int bottom) {
        std::uint8_t* const first = pixels.row(top);
        const std::size_t bytes = static_cast<std::size_t>(bottom - top) * rowBytes;
        for (std::size_t at = 0; at < bytes; at += memoryPage)
            first[at] = 0;
    });
}

bool startsDrawing(std::string_view text)
{
    if (text.starts_with("\xEF\xBB\xBF"))
        text.remove_prefix(3);
    text.remove_prefix(std::min(text.find_first_not_of(" \t\r\n"), text.size()));
    return text.starts_with("<svg") || (text.starts_with("<") && text.find("<svg") != std::string_view::npos);
}

/// A process and what it works on.
struct Process {
    std::unique_ptr<Helper> helper; ///< null: not started, or ended
    bool isOpen = false;            ///< its first reply has been read
    std::optional<Request> asked;   ///< its answer has not been read
    std::optional<Request> done;    ///< its bands have not been taken
    Deadline deadline;              ///< of opening, then of what was asked

    [[nodiscard]] bool isAtWork() const { return asked.has_value(); }
    [[nodiscard]] bool has(const Request& request) const { return asked == request || done == request; }
};

} // namespace

struct Document::State {
    std::mutex mutex;
    std::string subject;
    Kind kind = Kind::pdf;
    std::unique_ptr<SharedBytes> bytes;
    std::array<Process, 2> processes;
    std::vector<std::unique_ptr<Helper>> ending; ///< at rest; waited for in the end
    int ends = 0;                                ///< of processes
    int pages = 0;
    std::vector<std::optional<CGSize>> sizes; ///< of pages, as far as they are known

    [[nodiscard]] std::string_view what() const { return kind == Kind::pdf ? "PDF document" : "drawing"; }
    /// Those that may run: the second one where there is a core for it.
    std::span<Process> mine() { return std::span(processes).first(engine::concurrency() > 1 ? 2 : 1); }

    bool start(Process& process);
    std::optional<Reply> firstReply(Process& process);
    bool opened(Process& process);
    bool ask(Process& process, const Request& request);
    std::optional<Reply> finish(Process& process);
    bool noteEnd(Process& process, Helper::Wait wait);
    Process& placeFor(const Request& request);
    bool answered(const Request& request, Process*& by);
    bool take(Process& process, const engine::Pixels& to, bool opaque);
    void remember(int page, const Reply& reply);
};

/// Does not wait for it.
bool Document::State::start(Process& process)
{
    if (process.helper)
        return true;
    if (ends >= mostEnds)
        return fail(ZelFailureCode::unreadable, operation,
                    fmt::format("the {} has ended {} processes and is given up", what(), mostEnds));
    process = {};
    process.helper = Helper::start(kind, *bytes, operation);
    return process.helper != nullptr;
}

bool Document::State::noteEnd(Process& process, Helper::Wait wait)
{
    ++ends;
    const double seconds = static_cast<double>(process.deadline.allowed().count()) / 1000;
    process = {};
    if (wait == Helper::Wait::tooLong)
        return fail(ZelFailureCode::limit, operation, fmt::format("the {} takes longer than {} s", what(), seconds));
    return fail(ZelFailureCode::unreadable, operation, fmt::format("rendering the {} failed", what()));
}

/// What a process says of the document; it has opened it then.
std::optional<Reply> Document::State::firstReply(Process& process)
{
    Reply first;
    if (const auto wait = process.helper->answer({}, process.deadline, first); wait != Helper::Wait::answered) {
        noteEnd(process, wait);
        return std::nullopt;
    }
    if (first.status == Status::done) {
        process.isOpen = true;
        process.deadline = {};
        return first;
    }
    process = {};
    if (first.status == Status::locked)
        return fail(ZelFailureCode::unsupported, operation, "the document is protected by a password");
    return fail(ZelFailureCode::notAnImage, operation, fmt::format("this is no {} that can be read", what()));
}

bool Document::State::opened(Process& process)
{
    return process.isOpen || firstReply(process);
}

/// Sends a request; a process that is still opening finds it when it has opened. One that ended while it had nothing to
/// do is started again.
bool Document::State::ask(Process& process, const Request& request)
{
    for (const bool wasThere : {process.helper != nullptr, false}) {
        if (!start(process))
            return false;
        if (process.isOpen)
            process.deadline = {};
        if (wantsRows(request))
            process.done.reset();
        if (process.helper->ask(request)) {
            process.asked = request;
            return true;
        }
        if (!wasThere)
            break;
        process = {};
    }
    return noteEnd(process, Helper::Wait::gone);
}

/// The answer to what it was asked.
std::optional<Reply> Document::State::finish(Process& process)
{
    if (!opened(process))
        return std::nullopt;
    const Request request = *process.asked;
    Reply reply;
    if (const auto wait = process.helper->answer(request, process.deadline, reply); wait != Helper::Wait::answered) {
        noteEnd(process, wait);
        return std::nullopt;
    }
    process.asked.reset();
    if (reply.status != Status::done)
        return fail(ZelFailureCode::unreadable, operation, fmt::format("page {} does not render", request.page + 1));
    if (wantsRows(request))
        process.done = request;
    remember(request.page, reply);
    return reply;
}

void Document::State::remember(int page, const Reply& reply)
{
    const auto at = static_cast<std::size_t>(page);
    if (page < 0 || page >= pages)
        return;
    if (sizes.size() <= at)
        sizes.resize(at + 1);
    sizes[at] = CGSize{reply.pointWidth, reply.pointHeight};
}

/// Where it is under way; else an idle process, one with rows that may still be asked for only where rows are not
/// wanted or no other is idle; for rows one that has to be started; else the one that will be idle first, pages being
/// begun in order.
Process& Document::State::placeFor(const Request& request)
{
    const auto rank = [&](const Process& process) {
        if (wantsRows(request) && process.has(request))
            return -4;
        if (!process.helper)
            return wantsRows(request) ? -1 : std::numeric_limits<int>::max();
        if (process.isAtWork())
            return process.asked->page;
        return wantsRows(request) && process.done ? -2 : -3;
    };
    const auto all = mine();
    return *std::min_element(all.begin(), all.end(),
                             [&](const Process& a, const Process& b) { return rank(a) < rank(b); });
}

bool Document::State::answered(const Request& request, Process*& by)
{
    Process& process = placeFor(request);
    by = &process;
    if (process.isAtWork() && process.asked != request) {
        const NotesOnTrial unwanted; // whoever takes it over hears of it
        finish(process);
    }
    if (wantsRows(request) && process.done == request)
        return true;
    return (process.asked || ask(process, request)) && finish(process).has_value();
}

/// The bands of the page that is done, the next one on its way while one is taken. All in the time of one request.
bool Document::State::take(Process& process, const engine::Pixels& to, bool opaque)
{
    Request request = *process.done;
    const int step = documents::rowsOfBand(request.width);
    const Deadline deadline;
    for (int top = 0;; top += step, ++request.band) {
        const bool isLast = to.height - top <= step;
        Request next = request;
        ++next.band;
        const bool isAsked = !isLast && process.helper->ask(next);
        takeRows(process.helper->band(request), to.rows(top, std::min(step, to.height - top)), opaque);
        process.done.reset();
        if (isLast)
            return true;
        if (isAsked) {
            process.asked = next;
        } else { // it has ended, and what it wrote last has been taken: another one goes on
            ++ends;
            if (!ask(process, next))
                return false;
        }
        process.deadline = deadline;
        if (!finish(process))
            return false;
    }
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
    std::array<std::uint8_t, headBytes> bytes{};
    const auto head = std::span(bytes).first(source.read(0, bytes));
    const auto kind = kindOf(head);
    const auto start = head.first(std::min(head.size(), zel::headBytes));
    const auto isPicture = [&](const Codec& codec) { return codec.recognises(start); };
    if (!kind || std::any_of(codecs().begin(), codecs().end(), isPicture))
        return std::nullopt;
    return kind;
}

bool Document::isInstalled(Kind kind)
{
    return documents::isInstalled(kind, operation);
}

Ref<Document> Document::open(const Ref<const ByteSource>& source, Kind kind, Expecting expecting)
{
    if (!source)
        return nullptr;
    const SubjectScope subject(source->subject());
    if (kind == Kind::svg && source->size() > mostDrawingBytes)
        return fail(ZelFailureCode::limit, operation,
                    fmt::format("a drawing of {} bytes exceeds the limit of {}", source->size(), mostDrawingBytes));
    std::vector<std::uint8_t> read;
    if (source->whole().empty()) {
        read.resize(source->size());
        if (source->read(0, read) != read.size())
            return fail(ZelFailureCode::truncated, operation, "the file ended while it was read");
    }
    Ref<Document> document(new Document);
    State& state = *document->state_;
    state.subject = source->subject();
    state.kind = kind;
    state.bytes = SharedBytes::of(read.empty() ? source->whole() : read, operation);
    Process& first = state.processes[0];
    if (!state.bytes || !state.start(first))
        return nullptr;
    if (expecting == Expecting::severalPages && state.mine().size() > 1) {
        const NotesOnTrial mayFail; // it is tried again when there is work for it
        state.start(state.processes[1]);
    }
    const std::optional<Reply> reply = state.firstReply(first);
    if (!reply)
        return nullptr;
    state.pages = std::min(reply->pages, ZelLimits::current().pages);
    if (state.pages < reply->pages)
        warn(ZelFailureCode::limit, operation,
             fmt::format("{} pages, of which the limit leaves {}", reply->pages, state.pages));
    return document;
}

int Document::pageCount() const
{
    return state_->pages;
}

std::optional<CGSize> Document::pageSize(int page)
{
    const std::scoped_lock lock(state_->mutex);
    const SubjectScope subject(state_->subject);
    const auto known = [&] {
        const auto at = static_cast<std::size_t>(page);
        return page >= 0 && at < state_->sizes.size() ? state_->sizes[at] : std::nullopt;
    };
    if (known())
        return known();
    Process* by = nullptr;
    return state_->answered(requestFor(page, 0, 0, {}), by) ? known() : std::nullopt;
}

Ref<const CGImage> Document::render(int page, int width, int height, std::optional<Paper> paper)
{
    const std::scoped_lock lock(state_->mutex);
    const SubjectScope subject(state_->subject);
    if (!withinDecodeLimits(width, height, 4, operation))
        return nullptr;
    CGImage::Layout layout;
    layout.width = width;
    layout.height = height;
    if (paper)
        layout.alphaInfo = CGAlphaInfo::noneSkipLast;
    const Request request = requestFor(page, width, height, paper);
    Process* by = &state_->placeFor(request);
    if (!by->has(request) && !by->isAtWork() && !state_->ask(*by, request))
        return nullptr;
    engine::PixelBuffer pixels(width, height);
    if (pixels.empty())
        return fail(ZelFailureCode::outOfMemory, operation, fmt::format("no memory for {} x {} pixels", width, height));
    if (by->isAtWork())
        touch(pixels.pixels());
    if (!state_->answered(request, by))
        return nullptr;
    if (!state_->take(*by, pixels.pixels(), paper.has_value()))
        return nullptr;
    return makeImage(layout, std::move(pixels));
}

void Document::renderAhead(int page, int width, int height, std::optional<Paper> paper)
{
    const std::scoped_lock lock(state_->mutex);
    if (page < 0 || page >= state_->pages)
        return;
    const NotesOnTrial mayFail; // whatever it is, `render` meets it again
    if (!withinDecodeLimits(width, height, 4, operation))
        return;
    const Request request = requestFor(page, width, height, paper);
    Process* idle = nullptr;
    for (Process& process : state_->mine()) {
        if (process.has(request))
            return;
        const bool isFree = !process.isAtWork() && !process.done;
        if (isFree && (idle == nullptr || (!idle->helper && process.helper)))
            idle = &process;
    }
    if (idle != nullptr)
        state_->ask(*idle, request);
}

void Document::rest()
{
    const std::scoped_lock lock(state_->mutex);
    state_->ending.clear();
    for (Process& process : state_->processes) {
        if (process.helper) {
            process.helper->end();
            state_->ending.push_back(std::move(process.helper));
        }
        process = {};
    }
}

} // namespace zel
