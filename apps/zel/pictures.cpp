#include "pictures.h"

#include "batch.h"
#include "output_plan.h"
#include "text.h"

#include <zel/platform/foundation/atomic_write.h>
#include <zel/platform/foundation/notes.h>
#include <zel/platform/foundation/number_text.h>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace zel::program {
namespace {

using Json = nlohmann::ordered_json;

/// The whole of one input's way, from its file to the output's.
class PictureRun {
public:
    PictureRun(const PictureOptions& options, const Inputs& inputs, OutputPlan& plan, PictureStep step,
               const PictureWork& work)
        : options_(options),
          inputs_(inputs),
          plan_(plan),
          step_(std::move(step)),
          lossless_(work.lossless),
          open_(work.open)
    {
    }

    Outcome run(std::size_t index, const ZelReport& report)
    {
        const auto& input = inputs_.list[index];
        const auto& output = plan_.of(index);
        // Told before the work where it can be; a name that the size makes is looked at when the size is known.
        if (auto refused = refuseExisting(input, output.path, output.mayReplace))
            return *refused;
        if (options_.outputs.dryRun)
            return plannedOutcome(input.name, output.path, output.format);

        const auto made = lossless_ ? withoutCoding(input) : coded(input, output.format);
        if (!made)
            return failed(input.name, output.path);
        if (const auto warning = options_.reports.strict ? firstWarning(report) : std::nullopt) {
            auto outcome = failed(input.name, output.path);
            outcome.failure = *warning;
            return outcome;
        }
        return write(index, *made);
    }

private:
    /// A file that is about to be written.
    struct Made {
        Data bytes;
        int width = 0, height = 0; ///< of its upright picture
    };

    std::optional<Made> coded(const Input& input, Format format) const
    {
        const auto image = open_(input);
        const auto result = step_(image);
        if (!result)
            return std::nullopt;
        // What still is the file's own picture, turned perhaps, knows best.
        const auto own = resolutionOf(result);
        const auto resolution = own.x > 0 ? own : resolutionOf(image);
        auto bytes = encodePicture(result, format, options_.encoding, resolution);
        if (!bytes)
            return std::nullopt;
        // Under a byte limit the written picture may be smaller than the result.
        const auto written = options_.encoding.maxBytes ? makeZelImage(*bytes) : nullptr;
        const auto& size = written ? *written->cgImage : *result->cgImage;
        return Made{std::move(*bytes), size.width(), size.height()};
    }

    std::optional<Made> withoutCoding(const Input& input) const
    {
        auto bytes = changeInput(input, lossless_, options_.encoding.dpi);
        const auto written = bytes ? makeZelImage(*bytes) : nullptr;
        if (!written || !written->cgImage)
            return std::nullopt;
        return Made{std::move(*bytes), written->cgImage->width(), written->cgImage->height()};
    }

    std::optional<Outcome> refuseExisting(const Input& input, const std::string& path, bool mayReplace) const
    {
        const bool skips = options_.outputs.skipExisting;
        if (plan_.goesToStandardOutput() || (mayReplace && !skips) || !standsThere(path))
            return std::nullopt;
        if (!skips)
            (void)fail(ZelFailureCode::exists, "write", std::string(existsAlready), path);
        auto outcome = failed(input.name, path);
        if (skips)
            outcome.state = Outcome::State::skipped;
        return outcome;
    }

    Outcome write(std::size_t index, const Made& made)
    {
        const Data& bytes = made.bytes;
        const auto& input = inputs_.list[index];
        const auto& output = plan_.of(index);
        const auto [path, isFree] = plan_.claim(index, made.width, made.height);
        if (!isFree) {
            (void)fail(ZelFailureCode::exists, "write", "another picture of this run has this name", path);
            return failed(input.name, path);
        }
        if (path != output.path)
            if (auto refused = refuseExisting(input, path, output.mayReplace))
                return *refused;
        if (plan_.goesToStandardOutput())
            writeOut({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
        else if (!writeAtomically(URL::file(path), bytes.span(), {.createFolders = true}))
            return failed(input.name, path);

        Outcome outcome;
        outcome.input = input.name;
        outcome.output = path;
        Json facts = {{"format", formatName(output.format)},
                      {"width", made.width},
                      {"height", made.height},
                      {"bytes", bytes.size()}};
        if (lossless_)
            facts["lossless"] = true;
        outcome.facts = std::make_shared<const Json>(std::move(facts));
        if (options_.reports.verbose || (lossless_ && !options_.reports.quiet))
            outcome.line = fmt::format("{} -> {}: {} x {}, {}{}", input.name, path, made.width, made.height,
                                       byteText(bytes.size()), lossless_ ? ", coded data kept" : "");
        return outcome;
    }

    const PictureOptions& options_;
    const Inputs& inputs_;
    OutputPlan& plan_;
    PictureStep step_;
    LosslessStep lossless_; // empty where pictures are coded anew
    std::function<Ref<ZelImage>(const Input&)> open_;
};

/// For what all inputs need and cannot have; gives the exit status.
int sayFailure(std::string_view verb, const ZelNote& reason)
{
    Outcome outcome;
    outcome.input = reason.subject;
    outcome.failure = reason;
    writeError(printable(fmt::format("zel {}: {}", verb, failureText(outcome))));
    return statusOf(reason.code);
}

} // namespace

void PictureOptions::declare(Arguments& arguments)
{
    encoding.declare(arguments);
    inputs.declare(arguments);
    outputs.declare(arguments);
    limits.declare(arguments);
    reports.declare(arguments);
}

int filesAtOnce(const LimitOptions& limits, int inputsAtOnce)
{
    if (inputsAtOnce > 1)
        return 1;
    const int threads = limits.threads.value_or(static_cast<int>(std::max(1U, std::thread::hardware_concurrency())));
    return threads == 1 ? 1 : 2 * threads;
}

Outcome plannedOutcome(const std::string& input, const std::string& output, Format format)
{
    Outcome outcome;
    outcome.state = Outcome::State::planned;
    outcome.input = input;
    outcome.output = output;
    outcome.facts = std::make_shared<const Json>(Json{{"format", formatName(format)}});
    return outcome;
}

bool standsThere(const std::string& path)
{
    struct stat facts = {};
    return ::lstat(path.c_str(), &facts) == 0;
}

std::string planText(const std::vector<Outcome>& outcomes)
{
    std::string text;
    for (const auto& outcome : outcomes)
        if (outcome.state == Outcome::State::planned)
            text += printable(fmt::format("{} -> {}", outcome.input, outcome.output)) + '\n';
    return text;
}

int runPictures(const Verb& verb, const PictureOptions& options, const PictureWork& work)
{
    options.reports.apply();
    const auto inputs = work.collect(options.inputs);
    OutputPlan plan(options.outputs, inputs, options.encoding.format, work.otherFiles);
    if (plan.goesToStandardOutput() && (options.reports.json || options.reports.jsonl))
        throw UsageError("standard output cannot take both a picture and JSON");
    for (std::size_t i = 0; i < inputs.list.size(); ++i) {
        options.encoding.check(plan.of(i).format);
        if (work.lossless && plan.of(i).format != Format::jpeg)
            throw UsageError(
                fmt::format("--lossless is from JPEG to JPEG, the output is {}", formatName(plan.of(i).format)));
    }
    const int together = options.limits.apply(inputs.list.size());

    PictureStep step;
    if (!options.outputs.dryRun && !(step = work.prepare()))
        return sayFailure(verb.name, ZelFailure::last());
    Reporter reporter(verb.name, options.reports, inputs.list.size());
    PictureRun run(options, inputs, plan, std::move(step), work);
    runAll(
        inputs.list.size(), together,
        [&](std::size_t input, const ZelReport& report) { return run.run(input, report); }, reporter);
    return reporter.finish(options.outputs.dryRun ? planText : Reporter::Text());
}

} // namespace zel::program
