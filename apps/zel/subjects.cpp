#include "batch.h"
#include "interrupt.h"
#include "json_documents.h"
#include "output_plan.h"
#include "pictures.h"
#include "quantity.h"
#include "text.h"

#include <zel/operations/found_subjects.h>
#include <zel/platform/foundation/atomic_write.h>
#include <zel/platform/foundation/notes.h>
#include <zel/platform/foundation/number_text.h>
#include <zel/platform/foundation/threads.h>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <atomic>
#include <latch>
#include <sys/stat.h>
#include <thread>

namespace zel::program {
namespace {

using Json = nlohmann::ordered_json;

constexpr std::string_view examples = R"(Examples:
  zel subjects stickers.png -o cut/
  zel subjects scan.png -o 'cut/{stem}-{n:03}.png' --min-pixels 500 --padding 10 --fill-holes
  zel subjects sheet.png -o sprites/ --boxes sprites.json
  zel subjects *.png -o cut/ --threshold 128 --json
)";

constexpr std::string_view notes =
    R"(A subject is what hangs together, across sides, of pixels with an alpha above the threshold.
Subjects are numbered from 1 in the order of their topmost, then leftmost pixels. A picture
shows what lies in the box around its subject, and one pixel more of padding behind it than
in front. JSON has for each subject its box (left, top, width, height, in pixels), the crop
that was written, and how many pixels it has.
)";

/// What counts as a subject, and how much is cut out.
struct Separation {
    std::optional<std::int64_t> threshold, padding, minPixels;
    bool fillHoles = false;
    std::optional<double> smallHoles; ///< percent of a subject
    std::optional<std::string> boxes; ///< a JSON file

    void declare(Arguments& arguments);
    [[nodiscard]] SeparateSubjects how() const;
};

void Separation::declare(Arguments& arguments)
{
    constexpr std::int64_t most = 1'000'000'000;
    arguments.section("Subjects");
    arguments.value(
        "--threshold", "N", threshold, [](std::string_view text) { return readWhole(text, 0, 255); },
        "pixels with an alpha above it belong to subjects, 0 to 255 (10)");
    arguments.value(
        "--padding", "N", padding, [](std::string_view text) { return readWhole(text, 0, most); },
        "pixels around a subject (0)");
    arguments.value(
        "--min-pixels", "N", minPixels, [](std::string_view text) { return readWhole(text, 0, most); },
        "leave out subjects of fewer pixels (1)");
    arguments.flag("--fill-holes", fillHoles, "make opaque what a subject encloses");
    arguments.value(
        "--small-holes", "PERCENT", smallHoles, [](std::string_view text) { return readNumber(text, 0, most); },
        "only holes of at most this part of the subject");
    arguments.text("--boxes", "FILE", boxes, "write where the subjects are, as JSON");
}

SeparateSubjects Separation::how() const
{
    if (fillHoles && smallHoles)
        throw UsageError("--fill-holes and --small-holes exclude each other");
    SeparateSubjects how;
    how.alphaThreshold = static_cast<std::uint8_t>(threshold.value_or(how.alphaThreshold));
    how.padding = padding.value_or(how.padding);
    how.minPixelCount = minPixels.value_or(how.minPixelCount);
    how.fillHoles = fillHoles;
    how.fillHolesPercentage = smallHoles.value_or(0) / 100;
    return how;
}

Json jsonOf(const PixelArea& box)
{
    return Json::array({box.left, box.top, box.width, box.height});
}

/// Calls `work` with 0 to `count` - 1 on so many threads, until one call gives false with the reason noted, or an
/// interrupt: that reason.
std::optional<ZelNote> onThreads(std::size_t count, int threads, const std::function<bool(std::size_t)>& work)
{
    std::atomic<std::size_t> next = 0;
    std::mutex mutex;
    std::optional<ZelNote> failure;
    const auto takeOneAfterAnother = [&] {
        for (auto i = next++; i < count; i = next++) {
            if (interrupted())
                (void)fail(ZelFailureCode::cancelled, "write", "writing was stopped");
            else if (work(i))
                continue;
            next = count;
            const std::scoped_lock lock(mutex);
            if (!failure)
                failure = ZelFailure::last();
        }
    };
    std::latch others(threads - 1);
    for (int i = 1; i < threads; ++i)
        Queue::execute({}, [&] {
            takeOneAfterAnother();
            others.count_down();
        });
    takeOneAfterAnother();
    others.wait();
    return failure;
}

/// The subjects of one picture, from its file to theirs.
class SubjectsOfOne {
public:
    SubjectsOfOne(const PictureOptions& options, const Input& input, const OutputPlan::Output& output,
                  const Ref<ZelImage>& image, std::vector<FoundSubject> subjects)
        : options_(options),
          input_(input),
          output_(output),
          resolution_(resolutionOf(image)),
          subjects_(std::move(subjects)),
          names_(subjects_.size()),
          isWanted_(subjects_.size())
    {
    }

    /// Gives each subject its name; an outcome where one cannot be had.
    std::optional<Outcome> claimNames(OutputPlan& plan, std::size_t index)
    {
        for (std::size_t i = 0; i < subjects_.size(); ++i) {
            const auto& crop = subjects_[i].crop;
            auto [path, isFree] =
                plan.claim(index, OutputPlan::Piece{i + 1, subjects_.size(), crop.width, crop.height});
            if (!isFree)
                return refused(path, "another picture of this run has this name");
            isWanted_[i] = options_.outputs.force || !standsThere(path);
            if (!isWanted_[i] && !options_.outputs.skipExisting)
                return refused(path, std::string(existsAlready));
            names_[i] = std::move(path);
        }
        return std::nullopt;
    }

    Outcome write(int threads)
    {
        const auto failure = onThreads(subjects_.size(), threads, [&](std::size_t i) {
            try {
                return !isWanted_[i] || writeOne(i);
            } catch (const std::bad_alloc&) {
                return static_cast<bool>(fail(ZelFailureCode::outOfMemory, "write", "not enough memory"));
            }
        });
        Outcome outcome;
        outcome.input = input_.name;
        outcome.output = failure && !failure->subject.empty() ? failure->subject : output_.path;
        if (failure) {
            outcome.state = Outcome::State::failed;
            outcome.failure = *failure;
            return outcome;
        }
        outcome.facts = std::make_shared<const Json>(
            Json{{"format", formatName(output_.format)}, {"subjects", places()}, {"bytes", bytes_.load()}});
        if (options_.reports.verbose)
            outcome.line = fmt::format("{} -> {}: {} subjects, {}", input_.name, output_.path, subjects_.size(),
                                       byteText(bytes_.load()));
        return outcome;
    }

    /// Where the subjects are, and in which files.
    [[nodiscard]] Json places() const
    {
        auto list = Json::array();
        for (std::size_t i = 0; i < subjects_.size(); ++i)
            list.push_back({{"output", names_[i]},
                            {"box", jsonOf(subjects_[i].box)},
                            {"crop", jsonOf(subjects_[i].crop)},
                            {"pixels", subjects_[i].pixels}});
        return list;
    }

private:
    bool writeOne(std::size_t i)
    {
        const auto bytes =
            encodePicture(makeZelImage(subjects_[i].picture), output_.format, options_.encoding, resolution_);
        // The pixels that closed holes needed go with it.
        subjects_[i].picture = nullptr;
        if (!bytes || !writeAtomically(URL::file(names_[i]), bytes->span(), {.createFolders = true}))
            return false;
        bytes_ += bytes->size();
        return true;
    }

    Outcome refused(const std::string& path, std::string why) const
    {
        (void)fail(ZelFailureCode::exists, "write", std::move(why), path);
        return failed(input_.name, path);
    }

    const PictureOptions& options_;
    const Input& input_;
    const OutputPlan::Output& output_;
    Resolution resolution_;
    std::vector<FoundSubject> subjects_;
    std::vector<std::string> names_;
    std::vector<char> isWanted_; // not bits: threads read them at once
    std::atomic<std::uint64_t> bytes_ = 0;
};

/// Refuses a file of boxes that is an input: it would be lost.
void checkBoxes(const std::string& file, const Inputs& inputs)
{
    struct stat facts = {};
    if (::stat(file.c_str(), &facts) != 0)
        return;
    for (const auto& input : inputs.list)
        if (input.node == facts.st_ino && input.device == facts.st_dev)
            throw UsageError(fmt::format("--boxes: {} is an input", file));
}

int run(const Verb& verb, Words words)
{
    PictureOptions options;
    Separation separation;
    Arguments arguments(verb);
    separation.declare(arguments);
    options.declare(arguments);
    if (!arguments.parse(words))
        return 0;
    const SeparateSubjects how = separation.how();

    options.reports.apply();
    const auto inputs = collectInputs(options.inputs);
    if (separation.boxes)
        checkBoxes(*separation.boxes, inputs);
    OutputPlan plan(options.outputs, inputs, options.encoding.format, {}, OutputPlan::Results::numbered);
    for (std::size_t i = 0; i < inputs.list.size(); ++i)
        options.encoding.check(plan.of(i).format);
    const int together = options.limits.apply(inputs.list.size());
    const int hands = filesAtOnce(options.limits, together);

    Reporter reporter(verb.name, options.reports, inputs.list.size());
    std::vector<Json> boxes(inputs.list.size());
    const auto work = [&](std::size_t index, const ZelReport& report) {
        const auto& input = inputs.list[index];
        const auto& output = plan.of(index);
        if (options.outputs.dryRun)
            return plannedOutcome(input.name, output.path, output.format);
        const auto image = openInput(input);
        auto subjects = image ? findSubjects(image->cgImage, how) : std::nullopt;
        if (!subjects)
            return failed(input.name, output.path);
        if (const auto warning = options.reports.strict ? firstWarning(report) : std::nullopt) {
            auto outcome = failed(input.name, output.path);
            outcome.failure = *warning;
            return outcome;
        }
        SubjectsOfOne one(options, input, output, image, std::move(*subjects));
        if (auto refused = one.claimNames(plan, index))
            return *refused;
        boxes[index] = {{"input", input.name},
                        {"width", image->cgImage->width()},
                        {"height", image->cgImage->height()},
                        {"subjects", one.places()}};
        return one.write(hands);
    };
    runAll(inputs.list.size(), together, work, reporter);
    const int status = reporter.finish(options.outputs.dryRun ? planText : Reporter::Text());
    if (!separation.boxes || options.outputs.dryRun)
        return status;
    Json document = {{"version", jsonVersion}, {"inputs", Json::array()}};
    for (auto& each : boxes)
        if (!each.is_null())
            document["inputs"].push_back(std::move(each));
    const auto text = documentText(document);
    if (writeAtomically(URL::file(*separation.boxes), {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()},
                        {.createFolders = true}))
        return status;
    constexpr int notWritten = 5;
    writeError(printable(fmt::format("zel {}: {}", verb.name, ZelFailure::last().message)));
    return notWritten;
}

} // namespace

const Verb subjectsVerb = {
    "subjects", "Each thing on a transparent ground cut out", "INPUT... -o FOLDER/ [flags]", examples, notes, run,
};

} // namespace zel::program
