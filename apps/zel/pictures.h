#pragma once
#include "common_options.h"
#include "encoding.h"
#include "inputs.h"
#include "lossless.h"
#include "outcome.h"

#include <functional>

namespace zel::program {

/// The flags that all verbs share which turn pictures into pictures.
struct PictureOptions {
    InputOptions inputs;
    OutputOptions outputs;
    EncodingOptions encoding;
    LimitOptions limits;
    ReportOptions reports;

    void declare(Arguments& arguments);
};

/// What a verb does to one picture; absent with the reason noted. Called by several threads at once.
using PictureStep = std::function<Ref<ZelImage>(const Ref<ZelImage>&)>;

/// What a verb adds to the run: `prepare` is called once, after the usage is known to be right and before any input is
/// read; it loads what all inputs share, and gives the step, or nothing with the reason noted.
struct PictureWork {
    std::function<PictureStep()> prepare;
    std::vector<std::string> otherFiles; ///< files that are read besides the inputs
    LosslessStep lossless = {};          ///< done to JPEG files in place of the step, their coded data being kept
    /// Makes the picture of an input that is no picture itself; absent with the reason noted. Several threads at once.
    std::function<Ref<ZelImage>(const Input&)> open = openInput;
    std::function<Inputs(const InputOptions&)> collect = collectInputs;
};

/// Reads each input, applies the step, writes the output. Gives the exit status; throws UsageError.
int runPictures(const Verb& verb, const PictureOptions& options, const PictureWork& work);

/// How many files of one input are worked on at once: twice the threads, since every file waits for the disk before it
/// takes its name and others compute meanwhile. One where several inputs are worked on at once.
int filesAtOnce(const LimitOptions& limits, int inputsAtOnce);

/// What becomes of an input in a dry run.
Outcome plannedOutcome(const std::string& input, const std::string& output, Format format);

/// True where something of that name stands, be it a broken link.
bool standsThere(const std::string& path);

/// What a dry run says to people: a line for each input.
std::string planText(const std::vector<Outcome>& outcomes);

} // namespace zel::program
