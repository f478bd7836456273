#pragma once
#include <zel/platform/foundation/failure.h>

#include <csetjmp>
#include <cstdio>
#include <jpeglib.h>
#include <limits>
#include <type_traits>

namespace zel {

/// What libjpeg has to say about one picture. Its fatal errors jump back to the `guarded` call that is under way and
/// its warnings are kept here: nothing reaches standard error, nothing ends the process. Plain data, since jumps pass
/// over it.
struct JpegErrors {
    static constexpr int never = std::numeric_limits<int>::max();

    jpeg_error_mgr manager;
    std::jmp_buf jump;
    ZelFailureCode code;                ///< of the fatal error
    char message[JMSG_LENGTH_MAX];      ///< of the fatal error
    char firstWarning[JMSG_LENGTH_MAX]; ///< the first warning about damaged data; empty where there was none
    long warnings;                      ///< about damaged data, other than that it ended early
    int endedInRow;                     ///< the row of blocks in which the data ended for good, or `never`
    int endedInScan;                    ///< the scan, counted from 1, in which they did, or `never`
};

/// Makes `errors` ready and returns what belongs into `err` of a libjpeg struct, whose `client_data` must be `errors`.
jpeg_error_mgr* prepareErrors(JpegErrors& errors);

/// Ends the libjpeg call that is under way, from one of its callbacks, as a fatal error of libjpeg's own would.
[[noreturn]] void abandon(JpegErrors& errors, ZelFailureCode code, const char* message);

/// Notes that the entropy-coded data ended for good in the row of blocks that is being read.
void noteDataEnded(j_decompress_ptr info);

/// Calls libjpeg. False after a fatal error, which `errors` then describes. A jump leaves the body without unwinding:
/// it and what it calls must hold no object with a destructor.
template <class Body>
[[nodiscard]] bool guarded(JpegErrors& errors, Body body)
{
    static_assert(std::is_trivially_destructible_v<Body>);
    if (setjmp(errors.jump) != 0)
        return false;
    body();
    return true;
}

} // namespace zel
