#include "newest_wins.h"

#include <zel/platform/foundation/failure.h>
#include <zel/platform/foundation/threads.h>

#include <utility>

namespace zel::viewer {
namespace {

/// Nothing to finish where the work throws: memory ran out.
NewestWins::Finish resultOf(const NewestWins::Work& work)
{
    try {
        return work();
    } catch (...) {
        return {};
    }
}

} // namespace

/// Shared with the tasks, which outlive their owner; only the main thread looks inside.
struct NewestWins::State : std::enable_shared_from_this<State> {
    explicit State(Older rule) : older(rule) {}

    void begin(Work work)
    {
        isRunning = counts = true;
        stop = {};
        Queue::execute({}, [self = shared_from_this(), work = std::move(work), token = stop.get_token()] {
            Finish finish;
            { // what follows on the main thread is not stopped along
                const ZelProgress progress({}, token);
                finish = resultOf(work);
            }
            XMain::execute([self, finish] { self->end(finish); });
        });
    }

    void end(const Finish& finish)
    {
        isRunning = false;
        const bool isWanted = counts;
        if (waiting)
            begin(std::exchange(waiting, {}));
        if (isWanted && finish)
            finish(); // which may be the end of the owner
    }

    void dropRunning()
    {
        counts = false;
        stop.request_stop();
    }

    const Older older;
    Work waiting;
    bool isRunning = false;
    bool counts = true; ///< what runs may finish
    std::stop_source stop;
};

NewestWins::NewestWins(Older older) : state_(std::make_shared<State>(older)) {}

NewestWins::~NewestWins()
{
    drop();
}

void NewestWins::run(Work work)
{
    if (!state_->isRunning) {
        state_->begin(std::move(work));
        return;
    }
    state_->waiting = std::move(work);
    if (state_->older == Older::isStopped)
        state_->dropRunning();
}

void NewestWins::drop()
{
    state_->waiting = {};
    state_->dropRunning();
}

bool NewestWins::isBusy() const
{
    return state_->waiting || (state_->isRunning && state_->counts);
}

} // namespace zel::viewer
