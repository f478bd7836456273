#pragma once
#include <fcntl.h>
#include <system_error>
#include <thread>
#include <unistd.h>

// For modules whose library writes what it finds wrong with a file to standard error, and has no switch for it.
namespace zel {

/// On a thread of its own: gives it, and threads that it starts from now on, a table of descriptors of their own, in
/// which 2 leads nowhere. The rest of the process keeps what it has. Descriptors from 3 on are closed in that table.
inline void leaveStandardError() noexcept
{
    constexpr unsigned firstOther = 3;
    if (::close_range(firstOther, ~0U, CLOSE_RANGE_UNSHARE) != 0)
        return; // an old system: better its words than a change for everybody
    if (const int nowhere = ::open("/dev/null", O_WRONLY | O_CLOEXEC); nowhere >= 0)
        ::dup2(nowhere, STDERR_FILENO);
}

/// Runs `work`, which may not throw, on such a thread and waits for it; on this one where there is none to be had.
/// About 50 microseconds.
template <class Work>
void runApart(const Work& work) noexcept
{
    std::thread thread;
    try {
        thread = std::thread([&] {
            leaveStandardError();
            work();
        });
    } catch (const std::system_error&) {
        work();
        return;
    }
    thread.join();
}

} // namespace zel
