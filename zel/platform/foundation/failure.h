#pragma once
#include <zel/export.h>
#include <zel/platform/foundation/ref.h>

#include <functional>
#include <stop_token>

namespace zel {

/// Why an operation gave nothing, to switch on. A note's sentence has the figures.
enum class ZelFailureCode {
    none,            ///< nothing has failed
    notFound,        ///< no such file, identifier, resource
    unreadable,      ///< it is there, but cannot be read or makes no sense
    notAnImage,      ///< readable, but in no format that we know
    truncated,       ///< the file ended early
    unsupported,     ///< a known format, used in a way that we do not handle
    missingPart,     ///< a part of the library is not installed; the sentence names the package
    limit,           ///< refused by ZelLimits; the sentence has need and limit
    invalidArgument, ///< the caller's figures or pictures cannot be used
    exists,          ///< the output is there already
    writeFailed,     ///< a file could not be written
    network,         ///< a server could not be reached or refused
    cancelled,       ///< stopped through a ZelProgress
    outOfMemory,
};

/// `warning`: the result stands, but not quite as asked. `failure`: there is no result.
enum class ZelSeverity { warning, failure };

/// What went wrong, once.
struct ZelNote {
    ZelSeverity severity = ZelSeverity::failure;
    ZelFailureCode code = ZelFailureCode::none;
    std::string operation; ///< "resize"
    std::string message;   ///< one sentence with the figures, without a full stop
    std::string subject;   ///< the file or address, where there is one
    friend bool operator==(const ZelNote&, const ZelNote&) = default;
};

/// Collects the notes of everything called while it is alive on the thread that made it, work handed to other threads
/// included. Reports nest: each sees what happens under it. A report keeps 10,000 notes; where more come, the last
/// place holds the newest. Costs nothing while nothing is noted.
class ZEL_API ZelReport {
public:
    ZelReport();
    ~ZelReport();
    ZelReport(const ZelReport&) = delete;
    ZelReport& operator=(const ZelReport&) = delete;
    /// The notes so far, in the order in which they were made. May be called from any thread.
    std::vector<ZelNote> notes() const;

private:
    struct State;
    Ref<State> state_;
};

namespace ZelFailure {
/// The most recent failure on this thread; code `none` when there is none. Success and warnings leave it as it stands.
/// So does an operation that is handed an absent picture: a chain of calls names its cause.
ZEL_API ZelNote last();
/// Forgets it.
ZEL_API void clear();
} // namespace ZelFailure

/// While alive on a thread, long work done by that thread (and by threads that help it) reports how far it has come and
/// stops early when asked. Of nested ones the innermost is reported to; each of them can stop the work.
class ZEL_API ZelProgress {
public:
    /// `report` is given fractions from 0 to 1, by one thread at a time but not always by this one, each operation
    /// counting from 0 anew; it may be empty and must not throw. Once `stop` is requested, work ends at its next strip
    /// of rows: its result is absent, code `cancelled`.
    explicit ZelProgress(std::function<void(double fraction)> report, std::stop_token stop = {});
    ~ZelProgress();
    ZelProgress(const ZelProgress&) = delete;
    ZelProgress& operator=(const ZelProgress&) = delete;

private:
    struct State;
    Ref<State> state_;
};

} // namespace zel
