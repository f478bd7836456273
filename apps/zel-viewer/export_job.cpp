#include "export_job.h"

#include <zel/platform/foundation/threads.h>

#include <atomic>
#include <exception>

namespace zel::viewer {

/// Shared with the task, which may outlive its job; `job` is for the main thread.
struct ExportJob::Running {
    ExportJob* job = nullptr; ///< null once it is gone
    std::stop_source stop;
    std::atomic<int> percent{-1};

    /// Tells whole percents, each once.
    static void report(const std::shared_ptr<Running>& self, double fraction)
    {
        const int next = static_cast<int>(fraction * 100);
        if (self->percent.exchange(next) != next)
            XMain::execute([self, next] {
                if (self->job != nullptr)
                    emit self->job->progressed(next);
            });
    }
};

ExportJob::ExportJob(QObject* parent) : QObject(parent) {}

ExportJob::~ExportJob()
{
    cancel();
    if (running_)
        running_->job = nullptr;
}

void ExportJob::cancel()
{
    if (running_)
        running_->stop.request_stop();
}

void ExportJob::start(const Ref<ZelImage>& picture, const ExportOrder& order)
{
    if (running_)
        return;
    running_ = std::make_shared<Running>();
    running_->job = this;
    Queue::execute({}, [running = running_, picture, order] {
        ExportResult result;
        try {
            result = exportPicture(
                picture, order, [running](double fraction) { Running::report(running, fraction); },
                running->stop.get_token());
        } catch (const std::exception& error) {
            result.message = error.what();
        }
        XMain::execute([running, result] {
            ExportJob* const job = running->job;
            if (job == nullptr)
                return;
            job->running_ = nullptr;
            emit job->ended(result);
        });
    });
}

} // namespace zel::viewer
