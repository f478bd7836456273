#include <zel/platform/foundation/notes.h>
#include <zel/platform/foundation/thread_state.h>

#include <utility>

namespace zel {

struct TaskContext::Shared {
    ThreadContext context;
    ZelNote lastAtStart; ///< so that a task knows the cause of an absent picture that it is handed
    std::mutex mutex;
    std::optional<ZelNote> failure;
};

struct TaskContext::Adopt::State {
    Ref<Shared> shared;
    ThreadState before;
};

TaskContext TaskContext::capture()
{
    TaskContext context;
    context.shared_ = std::make_shared<Shared>();
    context.shared_->context = threadState().context;
    context.shared_->lastAtStart = threadState().last;
    return context;
}

TaskContext::Adopt::Adopt(const TaskContext& context) : state_(std::make_unique<State>())
{
    ThreadState& thread = threadState();
    state_->shared = context.shared_;
    state_->before = std::exchange(thread, {context.shared_->context, context.shared_->lastAtStart, false});
}

TaskContext::Adopt::~Adopt()
{
    ThreadState& thread = threadState();
    if (thread.failed) {
        const std::scoped_lock lock(state_->shared->mutex);
        state_->shared->failure = std::move(thread.last);
    }
    thread = std::move(state_->before);
}

void TaskContext::settle() const
{
    const std::scoped_lock lock(shared_->mutex);
    if (!shared_->failure)
        return;
    threadState().last = std::move(*shared_->failure);
    threadState().failed = true;
    shared_->failure.reset();
}

} // namespace zel
