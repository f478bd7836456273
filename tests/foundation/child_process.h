#pragma once
#include <csignal>
#include <cstdlib>
#include <functional>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#if defined(__SANITIZE_THREAD__)
#define ZEL_TEST_THREAD_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define ZEL_TEST_THREAD_SANITIZER 1
#endif
#endif

namespace zel::testing {

/// Work in a child process: what changes a whole process (limits, user), or ends in a kill.
class ChildProcess {
public:
    /// The child ends with the number that `work` gives.
    explicit ChildProcess(const std::function<int()>& work) : id_(fork())
    {
        if (id_ == 0)
            _exit(work());
    }
    ~ChildProcess()
    {
        if (id_ > 0)
            killNow();
    }
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    void killNow()
    {
        kill(id_, SIGKILL);
        wait();
    }
    /// The number that the work gave; minus the signal that ended it.
    int wait()
    {
        int status = 0;
        waitpid(id_, &status, 0);
        id_ = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    }

private:
    pid_t id_;
};

/// The user that owns nothing.
inline constexpr uid_t nobody = 65534;

} // namespace zel::testing
