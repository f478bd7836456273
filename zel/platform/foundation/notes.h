#pragma once
#include <zel/platform/foundation/failure.h>

#include <concepts>

// How the library's own code says what went wrong: `return fail(ZelFailureCode::limit, "resize", "…figures…");`
namespace zel {

/// What `fail` gives: absent, false or empty, whatever the function returns. It becomes a `bool` and no other number,
/// so that an optional number is absent too, and not 0.
struct Absent {
    template <class T>
    operator Ref<T>() const
    {
        return nullptr;
    } // NOLINT(google-explicit-constructor)
    template <class T>
    operator std::optional<T>() const
    {
        return std::nullopt;
    } // NOLINT(google-explicit-constructor)
    template <class T>
    operator std::vector<T>() const
    {
        return {};
    } // NOLINT(google-explicit-constructor)
    template <std::same_as<bool> T>
    operator T() const
    {
        return false;
    } // NOLINT(google-explicit-constructor)
};

/// Notes a failure on this thread (and in its reports) and gives the absent value. An empty subject is replaced by that
/// of the innermost SubjectScope.
ZEL_API Absent fail(ZelFailureCode code, std::string_view operation, std::string message, std::string subject = {});
/// For an operation that was handed an absent picture: the cause that stands is kept; only where none stands,
/// `invalidArgument` "no picture to <operation>" is noted.
Absent failAbsentInput(std::string_view operation);
/// Notes a warning: the result stands, but not quite as asked. `ZelFailure::last()` does not change.
ZEL_API void warn(ZelFailureCode code, std::string_view operation, std::string message, std::string subject = {});

/// Holds back the notes of an attempt that another attempt may repair, those of handed-out work included. They are
/// dropped at the end, and `ZelFailure::last()` is again what it was, unless `keep` was called.
class NotesOnTrial {
public:
    NotesOnTrial();
    ~NotesOnTrial();
    NotesOnTrial(const NotesOnTrial&) = delete;
    NotesOnTrial& operator=(const NotesOnTrial&) = delete;
    /// Hands on what was held back; later notes pass at once.
    void keep();

private:
    struct State;
    std::unique_ptr<State> state_;
};

/// The file or address that work on this thread is about, for notes that do not name their own. An empty one changes
/// nothing.
class SubjectScope {
public:
    explicit SubjectScope(std::string subject);
    ~SubjectScope();
    SubjectScope(const SubjectScope&) = delete;
    SubjectScope& operator=(const SubjectScope&) = delete;

private:
    std::string before_;
};

/// Reports the fraction done (held to 0...1) to the ZelProgress of this thread; false when work should stop, which is
/// then noted as `cancelled`. Cheap; called once a strip of rows.
[[nodiscard]] bool keepGoing(double fraction, std::string_view operation);

/// What a task takes along from the thread that hands it out: reports, progress, limits, subject. Notes taken under an
/// `Adopt` reach the reports of the first thread; `ZelFailure::last()` of the first thread follows when it calls
/// `settle`.
class TaskContext {
public:
    static TaskContext capture();

    /// Makes the context that of this thread, which has its own back when the scope ends.
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
