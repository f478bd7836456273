#include "reporter.h"

#include "interrupt.h"
#include "json_documents.h"
#include "text.h"

#include <fmt/format.h>

#include <algorithm>
#include <numeric>

namespace zel::program {
namespace {

constexpr int interruptedStatus = 130;

} // namespace

Reporter::Reporter(std::string_view verb, const ReportOptions& options, std::size_t inputs)
    : verb_(verb),
      options_(options),
      bar_(options.progress.value_or(ProgressMode::automatic), options.quiet, inputs),
      outcomes_(inputs),
      fractions_(inputs, 0.0),
      hasEnded_(inputs, false)
{
    for (auto& outcome : outcomes_)
        outcome.state = Outcome::State::stopped;
}

Reporter::~Reporter() = default;

void Reporter::progressed(std::size_t input, double fraction)
{
    if (!bar_.isWanted())
        return;
    // Whoever finds another thread drawing has nothing to add.
    const std::unique_lock lock(mutex_, std::try_to_lock);
    if (!lock)
        return;
    // An encoding that follows a decoding counts from 0 anew; the bar does not run backwards for that.
    fractions_[input] = std::max(fractions_[input], fraction);
    bar_.show(done_, std::accumulate(fractions_.begin(), fractions_.end(), 0.0));
}

void Reporter::ended(std::size_t input, Outcome outcome)
{
    const std::scoped_lock lock(mutex_);
    fractions_[input] = 0;
    hasEnded_[input] = true;
    ++done_;
    outcomes_[input] = std::move(outcome);
    sayOnStandardError(outcomes_[input]);
    if (options_.jsonl)
        printLinesInOrder();
    if (bar_.isWanted())
        bar_.show(done_, std::accumulate(fractions_.begin(), fractions_.end(), 0.0));
}

void Reporter::sayOnStandardError(const Outcome& outcome)
{
    const auto say = [&](const std::string& text) {
        bar_.clear();
        writeError(printable(fmt::format("zel {}: {}", verb_, text)));
    };
    if (!options_.quiet)
        for (const auto& warning : outcome.warnings)
            say(warningText(outcome, warning));
    if (outcome.state == Outcome::State::failed)
        say(failureText(outcome));
    if (!outcome.line.empty())
        say(outcome.line);
}

void Reporter::printLinesInOrder()
{
    for (; printed_ < outcomes_.size() && hasEnded_[printed_]; ++printed_)
        writeOut(outcomeLine(verb_, outcomes_[printed_]));
}

int Reporter::finish(const Text& text)
{
    const std::scoped_lock lock(mutex_);
    bar_.clear();
    if (options_.jsonl)
        for (; printed_ < outcomes_.size(); ++printed_)
            writeOut(outcomeLine(verb_, outcomes_[printed_]));
    if (options_.json)
        writeOut(outcomesDocument(verb_, outcomes_));
    if (!options_.json && !options_.jsonl && text)
        writeOut(text(outcomes_));
    const bool isTallyNews = outcomes_.size() > 1 && (count(Outcome::State::failed) > 0 || options_.verbose);
    if ((isTallyNews && !options_.quiet) || wasStopped())
        writeError(fmt::format("zel {}: {}", verb_, tally()));
    if (outputFailed()) {
        writeError(fmt::format("zel {}: standard output: cannot be written", verb_));
        return wasStopped() ? interruptedStatus : statusOf(ZelFailureCode::writeFailed);
    }
    return status();
}

std::size_t Reporter::count(Outcome::State state) const
{
    return static_cast<std::size_t>(std::count_if(outcomes_.begin(), outcomes_.end(),
                                                  [&](const Outcome& outcome) { return outcome.state == state; }));
}

bool Reporter::wasStopped() const
{
    return interrupted() && count(Outcome::State::stopped) > 0;
}

std::string Reporter::tally() const
{
    const auto finished = count(Outcome::State::done) + count(Outcome::State::planned);
    auto text = fmt::format("{}{} of {} done", wasStopped() ? "interrupted: " : "", finished, outcomes_.size());
    if (const auto skipped = count(Outcome::State::skipped); skipped > 0)
        text += fmt::format(", {} skipped", skipped);
    if (const auto failed = count(Outcome::State::failed); failed > 0)
        text += fmt::format(", {} failed", failed);
    return text;
}

int Reporter::status() const
{
    if (wasStopped())
        return interruptedStatus;
    if (count(Outcome::State::failed) == 0)
        return 0;
    return outcomes_.size() == 1 ? statusOf(outcomes_.front().failure.code) : 1;
}

} // namespace zel::program
