#include "batch.h"
#include "inputs.h"
#include "network_options.h"
#include "picture_formats.h"
#include "quantity.h"

#include <zel/io/encode.h>
#include <zel/platform/foundation/notes.h>
#include <zel/platform/foundation/number_text.h>
#include <zel/platform/services/services.h>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace zel::program {
namespace {

using Json = nlohmann::ordered_json;

constexpr std::string_view examples = R"(Examples:
  zel upload photo.heic --to https://example.org/filePost
  zel upload *.png --to http://nas.local/pictures --quality 90
  zel upload - --to https://example.org/filePost --name today < photo.png
)";

constexpr std::string_view notes =
    R"(Each picture is posted as JPEG, as the file "file" of a form (multipart/form-data), under the
name of its file. Redirects are not followed.
)";

constexpr double usualQuality = 85;
constexpr std::string_view stemOfStandardInput = "stdin";

struct Upload {
    std::optional<URL> to;
    std::optional<std::string> name;
    std::optional<double> quality;
    bool strict = false;

    void declare(Arguments& arguments);
    [[nodiscard]] std::string nameFor(const Input& input) const
    {
        if (name)
            return *name;
        return std::string(input.isStandardInput() ? stemOfStandardInput : stemOf(input.name));
    }
    [[nodiscard]] Outcome send(const Input& input, const ZelReport& report, bool verbose) const;
};

void Upload::declare(Arguments& arguments)
{
    constexpr double best = 100;
    arguments.section("Upload");
    arguments.value("--to", "ADDRESS", to, readAddress, "where pictures are posted");
    arguments.text("--name", "NAME", name, "of the one picture, without .jpg (else its file's)");
    arguments.value(
        "--quality", "Q", quality, [](std::string_view text) { return readNumber(text, 0, best); },
        "of the JPEG, 0 to 100 (85)");
}

/// Transfers note on a thread of their own, so that the reason is in the report.
ZelNote lastFailureOf(const ZelReport& report)
{
    ZelNote last = ZelFailure::last();
    for (auto& note : report.notes())
        if (note.severity == ZelSeverity::failure)
            last = std::move(note);
    return last;
}

Outcome Upload::send(const Input& input, const ZelReport& report, bool verbose) const
{
    const auto jpeg = jpegData(openInput(input), {.quality = quality.value_or(usualQuality) / 100});
    if (!jpeg)
        return failed(input.name, {});
    if (const auto warning = strict ? firstWarning(report) : std::nullopt) {
        auto outcome = failed(input.name, {});
        outcome.failure = *warning;
        return outcome;
    }
    const std::string file = nameFor(input) + ".jpg";
    const bool isSent =
        ZelNet::upload({.to = *to, .data = *jpeg, .withFileName = file, .mimetype = "application/octet-stream"}).get();
    if (!isSent) {
        auto outcome = failed(input.name, {});
        outcome.failure = lastFailureOf(report);
        return outcome;
    }
    Outcome outcome;
    outcome.input = input.name;
    outcome.facts =
        std::make_shared<const Json>(Json{{"to", to->absoluteString()}, {"format", "jpeg"}, {"bytes", jpeg->size()}});
    if (verbose)
        outcome.line = fmt::format("{} -> {}: {}, {}", input.name, to->absoluteString(), file, byteText(jpeg->size()));
    return outcome;
}

int run(const Verb& verb, Words words)
{
    Upload upload;
    NetworkOptions network;
    InputOptions inputOptions;
    LimitOptions limits;
    ReportOptions reports;
    Arguments arguments(verb);
    upload.declare(arguments);
    network.declare(arguments);
    inputOptions.declare(arguments);
    limits.declare(arguments);
    reports.declare(arguments);
    if (!arguments.parse(words))
        return 0;
    network.check();
    reports.apply();
    if (!upload.to)
        throw UsageError("no address", "--to ADDRESS");
    if (upload.to->isFile())
        throw UsageError("only http and https addresses take uploads");
    const auto inputs = collectInputs(inputOptions);
    if (upload.name && inputs.several)
        throw UsageError("--name is for one picture");
    upload.strict = reports.strict;
    const int together = limits.apply(inputs.list.size());
    network.apply();

    Reporter reporter(verb.name, reports, inputs.list.size());
    const auto work = [&](std::size_t index, const ZelReport& report) {
        return upload.send(inputs.list[index], report, reports.verbose);
    };
    runAll(inputs.list.size(), together, work, reporter);
    return reporter.finish();
}

} // namespace

const Verb uploadVerb = {
    "upload", "Pictures posted to an address, as JPEG", "INPUT... --to ADDRESS [flags]", examples, notes, run,
};

} // namespace zel::program
