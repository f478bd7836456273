#include "batch.h"

#include "interrupt.h"

#include <algorithm>
#include <atomic>
#include <stop_token>
#include <thread>

namespace zel::program {
namespace {

Outcome guarded(std::size_t input, const Work& work, const ZelReport& report)
{
    const auto broken = [](ZelFailureCode code, std::string message) {
        Outcome outcome;
        outcome.state = Outcome::State::failed;
        outcome.failure.code = code;
        outcome.failure.message = std::move(message);
        return outcome;
    };
    try {
        return work(input, report);
    } catch (const std::bad_alloc&) {
        return broken(ZelFailureCode::outOfMemory, "not enough memory");
    } catch (const std::exception& error) {
        return broken(ZelFailureCode::none, error.what());
    }
}

void runOne(std::size_t input, const Work& work, Reporter& reporter)
{
    const ZelReport report;
    ZelFailure::clear();
    // The signal handler may not ask for a stop itself; the first strip of rows after it does.
    std::stop_source stop;
    const ZelProgress progress(
        [&](double fraction) {
            if (interrupted())
                stop.request_stop();
            reporter.progressed(input, fraction);
        },
        stop.get_token());

    auto outcome = guarded(input, work, report);
    if (outcome.state == Outcome::State::failed && outcome.failure.code == ZelFailureCode::cancelled)
        outcome.state = Outcome::State::stopped;
    for (auto& note : report.notes())
        if (note.severity == ZelSeverity::warning && note != outcome.failure &&
            std::find(outcome.warnings.begin(), outcome.warnings.end(), note) == outcome.warnings.end())
            outcome.warnings.push_back(std::move(note));
    reporter.ended(input, std::move(outcome));
}

} // namespace

void runAll(std::size_t count, int together, const Work& work, Reporter& reporter)
{
    std::atomic<std::size_t> next = 0;
    const auto takeOneAfterAnother = [&] {
        for (auto input = next++; input < count && !interrupted(); input = next++)
            runOne(input, work, reporter);
    };
    std::vector<std::jthread> others;
    for (int i = 1; i < together; ++i)
        others.emplace_back(takeOneAfterAnother);
    takeOneAfterAnother();
}

Outcome failed(std::string input, std::string output)
{
    Outcome outcome;
    outcome.state = Outcome::State::failed;
    outcome.input = std::move(input);
    outcome.output = std::move(output);
    outcome.failure = ZelFailure::last();
    return outcome;
}

std::optional<ZelNote> firstWarning(const ZelReport& report)
{
    const auto notes = report.notes();
    const auto first = std::find_if(notes.begin(), notes.end(),
                                    [](const ZelNote& note) { return note.severity == ZelSeverity::warning; });
    return first == notes.end() ? std::nullopt : std::optional(*first);
}

} // namespace zel::program
