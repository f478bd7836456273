#include <zel/platform/foundation/notes.h>
#include <zel/platform/foundation/thread_state.h>

#include <utility>

namespace zel {
namespace {

// A hostile file may earn a warning a row; nobody reads ten thousand.
constexpr std::size_t mostNotes = 10'000;

void note(ZelSeverity severity, ZelFailureCode code, std::string_view operation, std::string message,
          std::string subject)
{
    ThreadState& state = threadState();
    if (subject.empty())
        subject = state.context.subject;
    ZelNote note{severity, code, std::string(operation), std::move(message), std::move(subject)};
    Collector::deliver(state.context.collector, note);
    if (severity == ZelSeverity::failure) {
        state.last = std::move(note);
        state.failed = true;
    }
}

// Scopes usually end in the reverse order of their beginning; where a host keeps a report elsewhere, the chain is cut
// when those above it have ended too.
void leaveClosed()
{
    Ref<Collector>& innermost = threadState().context.collector;
    while (innermost && innermost->closed())
        innermost = Ref<Collector>(innermost->outer());
}

} // namespace

ThreadState& threadState()
{
    thread_local ThreadState state;
    return state;
}

Collector::~Collector()
{
    while (outer_ && outer_.use_count() == 1)
        outer_ = std::exchange(outer_->outer_, nullptr);
}

void Collector::deliver(const Ref<Collector>& innermost, const ZelNote& note)
{
    for (Collector* at = innermost.get(); at != nullptr && at->take(note); at = at->outer_.get()) {}
}

bool Collector::take(const ZelNote& note)
{
    const std::scoped_lock lock(mutex_);
    if (passing_)
        return true;
    if (closed())
        return kind_ == Kind::report;
    // Every helping thread notices that work should stop: once is enough.
    if (note.code == ZelFailureCode::cancelled && !notes_.empty() && notes_.back() == note)
        return kind_ == Kind::report;
    if (notes_.size() == mostNotes)
        notes_.back() = note;
    else
        notes_.push_back(note);
    return kind_ == Kind::report;
}

std::vector<ZelNote> Collector::notes() const
{
    const std::scoped_lock lock(mutex_);
    return notes_;
}

std::vector<ZelNote> Collector::open()
{
    const std::scoped_lock lock(mutex_);
    passing_ = true;
    return std::exchange(notes_, {});
}

void Collector::close()
{
    const std::scoped_lock lock(mutex_);
    closed_.store(true, std::memory_order_release);
}

struct ZelReport::State : Collector {
    using Collector::Collector;
};

ZelReport::ZelReport() : state_(std::make_shared<State>(Collector::Kind::report, threadState().context.collector))
{
    threadState().context.collector = state_;
}

ZelReport::~ZelReport()
{
    state_->close();
    leaveClosed();
}

std::vector<ZelNote> ZelReport::notes() const
{
    return state_->notes();
}

ZelNote ZelFailure::last()
{
    return threadState().last;
}
void ZelFailure::clear()
{
    threadState().last = {};
}

Absent fail(ZelFailureCode code, std::string_view operation, std::string message, std::string subject)
{
    note(ZelSeverity::failure, code, operation, std::move(message), std::move(subject));
    return {};
}

Absent failAbsentInput(std::string_view operation)
{
    if (threadState().last.code == ZelFailureCode::none)
        return fail(ZelFailureCode::invalidArgument, operation, "no picture to " + std::string(operation));
    return {};
}

void warn(ZelFailureCode code, std::string_view operation, std::string message, std::string subject)
{
    note(ZelSeverity::warning, code, operation, std::move(message), std::move(subject));
}

struct NotesOnTrial::State {
    Ref<Collector> collector;
    ZelNote lastBefore;
    bool failedBefore = false;
    bool kept = false;
};

NotesOnTrial::NotesOnTrial() : state_(std::make_unique<State>())
{
    ThreadState& thread = threadState();
    state_->collector = std::make_shared<Collector>(Collector::Kind::trial, thread.context.collector);
    state_->lastBefore = thread.last;
    state_->failedBefore = thread.failed;
    thread.context.collector = state_->collector;
}

NotesOnTrial::~NotesOnTrial()
{
    state_->collector->close();
    leaveClosed();
    if (state_->kept)
        return;
    threadState().last = std::move(state_->lastBefore);
    threadState().failed = state_->failedBefore;
}

void NotesOnTrial::keep()
{
    state_->kept = true;
    for (const ZelNote& held : state_->collector->open())
        Collector::deliver(state_->collector->outer(), held);
}

SubjectScope::SubjectScope(std::string subject) : before_(threadState().context.subject)
{
    if (!subject.empty())
        threadState().context.subject = std::move(subject);
}

SubjectScope::~SubjectScope()
{
    threadState().context.subject = std::move(before_);
}

} // namespace zel
