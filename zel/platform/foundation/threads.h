#pragma once
#include <zel/export.h>
#include <functional>

namespace zel {

namespace Queue {
struct ExecuteFast { bool fast = true; };
/// Runs the task on the library's background pool.
void execute(ExecuteFast options, std::function<void()> task);
/// Threads that loops over pixels may use; 0 = as many as there are cores. Waiting work (disk, network) has its own.
void setConcurrency(int threads);
} // namespace Queue

namespace XMain {
void execute(std::function<void()> task);   ///< on the main thread, later or at once as the runner decides
void sync(std::function<void()> task);      ///< on the main thread, done on return; in place when called there
/// Installed by hosts with a main loop (it should always queue); without one, or with empty functions, tasks run at once
/// on the calling thread.
void setRunner(std::function<void(std::function<void()>)> runner, std::function<bool()> isMainThread);
} // namespace XMain

} // namespace zel
