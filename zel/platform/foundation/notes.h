#pragma once
#include <zel/platform/foundation/failure.h>

// How the library's own code says what went wrong: `return fail(ZelFailureCode::limit, "resize", "…figures…");`
namespace zel {

/// What `fail` gives: absent, false or empty, whatever the function returns.
struct Absent {
    template <class T>
    operator Ref<T>() const { return nullptr; } // NOLINT(google-explicit-constructor)
    template <class T>
    operator std::optional<T>() const { return std::nullopt; } // NOLINT(google-explicit-constructor)
    operator bool() const { return false; } // NOLINT(google-explicit-constructor)
};

/// Notes a failure on this thread (and in its reports) and gives the absent value. An empty subject is replaced by that of
/// the innermost SubjectScope.
Absent fail(ZelFailureCode code, std::string_view operation, std::string message, std::string subject = {});
/// For an operation that was handed an absent picture: the cause that stands is kept; only where none stands,
/// `invalidArgument` "no picture to <operation>" is noted.
Absent failAbsentInput(std::string_view operation);
/// Notes a warning: the result stands, but not quite as asked.
void warn(ZelFailureCode code, std::string_view operation, std::string message, std::string subject = {});
/// Notes taken while an attempt is under way that another attempt may repair: dropped unless `keep` is called.
class NotesOnTrial {
public:
    NotesOnTrial();
    ~NotesOnTrial();
    NotesOnTrial(const NotesOnTrial&) = delete;
    NotesOnTrial& operator=(const NotesOnTrial&) = delete;
    void keep();

private:
    struct State;
    std::unique_ptr<State> state_;
};

/// The file or address that work on this thread is about, for notes that do not name their own.
class SubjectScope {
public:
    explicit SubjectScope(std::string subject);
    ~SubjectScope();
    SubjectScope(const SubjectScope&) = delete;
    SubjectScope& operator=(const SubjectScope&) = delete;

private:
    std::string before_;
};

/// Reports the fraction done to the ZelProgress of this thread; false when work should stop, which is then noted as
/// `cancelled`. Cheap; called once a strip of rows.
[[nodiscard]] bool keepGoing(double fraction, std::string_view operation);

/// What a task takes along from the thread that hands it out: reports, progress, limits, subject. Failures noted under an
/// `Adopt` reach the reports of the first thread; `ZelFailure::last()` of the first thread follows when it calls `settle`.
class TaskContext {
public:
    static TaskContext capture();
    class Adopt {
    public:
        explicit Adopt(const TaskContext& context);
        ~Adopt();
        Adopt(const Adopt&) = delete;
        Adopt& operator=(const Adopt&) = delete;

    private:
        struct State;
        std::unique_ptr<State> state_;
    };
    /// On the first thread, after the task ended: takes over the task's last failure, if it had one.
    void settle() const;

private:
    struct Shared;
    Ref<Shared> shared_;
};

} // namespace zel
