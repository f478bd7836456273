#pragma once
#include <zel/export.h>
#include <zel/platform/foundation/ref.h>

#include <functional>
#include <stop_token>

namespace zel {

enum class ZelFailureCode {
    none, notFound, unreadable, notAnImage, truncated, unsupported, missingPart, limit, invalidArgument,
    exists, writeFailed, network, cancelled, outOfMemory,
};

enum class ZelSeverity { warning, failure };

struct ZelNote {
    ZelSeverity severity = ZelSeverity::failure;
    ZelFailureCode code = ZelFailureCode::none;
    std::string operation;    ///< "resize"
    std::string message;      ///< one sentence with the figures
    std::string subject;      ///< the file or address, where there is one
};

/// Collects the notes of everything called while it is alive on this thread, also of work handed to other threads.
class ZelReport {
public:
    ZelReport();
    ~ZelReport();
    ZelReport(const ZelReport&) = delete;
    ZelReport& operator=(const ZelReport&) = delete;
    std::vector<ZelNote> notes() const;

private:
    struct State;
    Ref<State> state_;
};

namespace ZelFailure {
/// The most recent failure on this thread; code `none` when there is none. An operation that is handed an absent
/// picture leaves it as it stands, so that a chain of calls names its cause.
ZelNote last();
void clear();
} // namespace ZelFailure

/// While alive on a thread: long work reports a fraction 0...1 and stops early when asked.
class ZelProgress {
public:
    explicit ZelProgress(std::function<void(double fraction)> report, std::stop_token stop = {});
    ~ZelProgress();
    ZelProgress(const ZelProgress&) = delete;
    ZelProgress& operator=(const ZelProgress&) = delete;

private:
    struct State;
    Ref<State> state_;
};

} // namespace zel
