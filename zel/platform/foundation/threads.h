#pragma once
#include <zel/export.h>

#include <functional>

namespace zel {

namespace Queue {
struct ExecuteFast {
    bool fast = true;
}; ///< `fast` tasks go before all others that wait
/// Runs the task on the library's background pool: four threads, started when first needed, and up to sixteen while
/// tasks wait for one. The task's notes reach the reports that are alive on the calling thread, whose progress and
/// limits hold for it; what it throws is noted and dropped. Tasks may wait for disk and network, never for the main
/// thread. Those that have not begun when the process ends never do.
ZEL_API void execute(ExecuteFast options, std::function<void()> task);
/// Threads that loops over pixels may use; 0 = as many as there are cores. Waiting work (disk, network) has its own.
ZEL_API void setConcurrency(int threads);
} // namespace Queue

namespace XMain {
/// On the main thread, later or at once as the runner decides.
ZEL_API void execute(std::function<void()> task);
/// On the main thread, done on return; in place when called there. A runner that drops its tasks ends the wait.
ZEL_API void sync(std::function<void()> task);
/// Installed by hosts with a main loop (it should always queue); without one, or where either function is empty, tasks
/// run at once on the calling thread.
ZEL_API void setRunner(std::function<void(std::function<void()>)> runner, std::function<bool()> isMainThread);
} // namespace XMain

} // namespace zel
