#include "interrupt.h"

#include <atomic>
#include <csignal>
#include <initializer_list>

namespace zel::program {
namespace {

// Read by all threads, written by whichever one the signal hits.
std::atomic<bool> seen = false;
static_assert(std::atomic<bool>::is_always_lock_free);

void note(int)
{
    seen = true;
}

} // namespace

void catchInterrupts()
{
    // SA_RESETHAND: whoever asks twice wants it at once. No SA_RESTART: waiting for standard input ends too.
    struct sigaction action = {};
    action.sa_handler = note;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction before = {};
        // A shell that starts us in the background ignores interrupts for us; that stays so.
        if (sigaction(signal, nullptr, &before) == 0 && before.sa_handler != SIG_IGN)
            sigaction(signal, &action, nullptr);
    }
    struct sigaction ignore = {};
    ignore.sa_handler = SIG_IGN;
    sigaction(SIGPIPE, &ignore, nullptr);
    sigaction(SIGXFSZ, &ignore, nullptr);
}

bool interrupted()
{
    return seen;
}

} // namespace zel::program
