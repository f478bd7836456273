#pragma once
#include "reporter.h"

#include <functional>

namespace zel::program {

/// What is done for one input; `report` holds the notes taken for it so far.
using Work = std::function<Outcome(std::size_t input, const ZelReport& report)>;

/// Works on inputs 0 to `count` - 1, on `together` threads (this one among them) that take the next input as they come
/// to it. A failure of one does not end the others; an interrupt ends all. Tells the reporter what becomes of each.
void runAll(std::size_t count, int together, const Work& work, Reporter& reporter);

/// The outcome of an input that failed for the reason that stands on this thread.
Outcome failed(std::string input, std::string output);
/// The first warning of a report, where there is one.
std::optional<ZelNote> firstWarning(const ZelReport& report);

} // namespace zel::program
