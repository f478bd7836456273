#pragma once
#include <functional>
#include <memory>

namespace zel::viewer {

/// Work in the background of which only the newest counts: one piece runs, at most one waits, and a newer one takes its
/// place. For the main thread, with a main loop that `XMain` knows.
class NewestWins {
public:
    /// What becomes of the piece that runs when a newer one comes: it ends and is shown, so that whoever drags a slider
    /// sees something move; or it is stopped and never shown.
    enum class Older { isShown, isStopped };
    explicit NewestWins(Older older);
    ~NewestWins();
    NewestWins(const NewestWins&) = delete;
    NewestWins& operator=(const NewestWins&) = delete;

    using Finish = std::function<void()>;
    using Work = std::function<Finish()>;
    /// `work` runs on the library's background pool, stopped through a `ZelProgress` where need be; the function that
    /// it gives (or an empty one) then runs on the main thread.
    void run(Work work);
    /// Nothing that was handed over before this call finishes after it.
    void drop();
    [[nodiscard]] bool isBusy() const; ///< something is going to finish

private:
    struct State;
    std::shared_ptr<State> state_;
};

} // namespace zel::viewer
