#pragma once
#include "outcome.h"
#include "progress_bar.h"

#include <functional>
#include <mutex>

namespace zel::program {

/// Tells what becomes of the inputs, as they end: errors and warnings on standard error, JSON on standard output, a
/// progress bar, the tally. All of it may be called from several threads.
class Reporter {
public:
    /// `verb`: its name.
    Reporter(std::string_view verb, const ReportOptions& options, std::size_t inputs);
    ~Reporter();
    Reporter(const Reporter&) = delete;
    Reporter& operator=(const Reporter&) = delete;

    /// How far input `input` has come, 0 to 1.
    void progressed(std::size_t input, double fraction);
    void ended(std::size_t input, Outcome outcome);
    /// What goes to standard output where no JSON was asked for, made from the outcomes in the order of the inputs.
    using Text = std::function<std::string(const std::vector<Outcome>& outcomes)>;
    /// After the last one: what is left to say. Gives the exit status.
    [[nodiscard]] int finish(const Text& text = {});

private:
    void sayOnStandardError(const Outcome& outcome);
    void printLinesInOrder();
    [[nodiscard]] std::size_t count(Outcome::State state) const;
    [[nodiscard]] bool wasStopped() const;
    [[nodiscard]] std::string tally() const;
    [[nodiscard]] int status() const;

    std::string verb_;
    ReportOptions options_;
    std::mutex mutex_;
    ProgressBar bar_;
    std::vector<Outcome> outcomes_;
    std::vector<double> fractions_;
    std::vector<bool> hasEnded_;
    std::size_t done_ = 0;
    std::size_t printed_ = 0; ///< lines of --jsonl so far
};

} // namespace zel::program
