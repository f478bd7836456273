#include "common_options.h"

#include "quantity.h"
#include "text.h"

#include <zel/platform/foundation/console.h>
#include <zel/platform/foundation/limits.h>
#include <zel/platform/foundation/threads.h>

#include <algorithm>
#include <thread>

namespace zel::program {
namespace {

// A person waits at the other end: files that take longer are traps more often than treasures.
constexpr std::chrono::milliseconds defaultTimeout{8'000};
constexpr std::int64_t mostThreads = 1024;

ProgressMode readProgressMode(std::string_view text)
{
    return readChoice<ProgressMode>(
        text, {{"auto", ProgressMode::automatic}, {"always", ProgressMode::always}, {"never", ProgressMode::never}});
}

int readThreads(std::string_view text)
{
    return static_cast<int>(readWhole(text, 1, mostThreads));
}

/// Twice the cores: every output waits for the disk before it takes its name, and others compute meanwhile.
int usualJobs()
{
    return 2 * static_cast<int>(std::max(1U, std::thread::hardware_concurrency()));
}

} // namespace

void InputOptions::declare(Arguments& arguments)
{
    arguments.section("Inputs");
    arguments.operands(words);
    arguments.flag("-r,--recursive", recursive, "take the pictures in folders, and in the folders below them");
    arguments.text("--files-from", "LIST", filesFrom, "a file with one name a line; - for standard input");
    arguments.flag("-0,--null", nullSeparated, "names in LIST end with a zero byte (find -print0)");
}

void OutputOptions::declare(Arguments& arguments)
{
    arguments.section("Outputs");
    arguments.text("-o,--output", "OUTPUT", output,
                   "a file, a folder, a pattern such as out/{stem}-{n:04}.{ext}, or -");
    arguments.flag("--in-place", inPlace, "outputs may be the inputs; without -o they are");
    arguments.flag("--force", force, "replace what stands in a folder or under a pattern");
    arguments.flag("--skip-existing", skipExisting, "leave inputs alone whose output exists");
    arguments.flag("--dry-run", dryRun, "say what would be written, touch nothing");
}

void LimitOptions::declare(Arguments& arguments)
{
    arguments.section("Limits");
    arguments.value("--jobs", "N", jobs, readThreads, "inputs worked on at once (twice as many as there are cores)");
    arguments.value("--threads", "N", threads, readThreads, "threads within a picture (all cores; 1 for many inputs)");
    arguments.value("--memory", "SIZE", memory, readSize,
                    "what one picture may take (1.5 GiB, less on small machines)");
    arguments.value("--max-pixels", "N", maxPixels, readSize, "pixels one picture may have (268M)");
    arguments.value("--timeout", "TIME", timeout, readDuration, "seconds one picture may take to decode (8); 0 = any");
}

int LimitOptions::apply(std::size_t inputs) const
{
    ZelLimits limits = ZelLimits::current();
    limits.decodeTime = timeout.value_or(defaultTimeout);
    if (memory)
        limits.decodeBytes = limits.operationBytes = static_cast<std::uint64_t>(*memory);
    if (maxPixels)
        limits.pixels = static_cast<std::uint64_t>(*maxPixels);
    ZelLimits::setDefault(limits);

    if (inputs < 2) {
        if (threads)
            Queue::setConcurrency(*threads);
        return 1;
    }
    const auto wanted = static_cast<std::size_t>(jobs.value_or(usualJobs()));
    const auto together = static_cast<int>(std::min(wanted, inputs));
    // Where the inputs keep the cores busy, threads within a picture would only get in one another's way.
    if (threads || together > 1)
        Queue::setConcurrency(threads.value_or(1));
    return together;
}

void ReportOptions::declare(Arguments& arguments)
{
    arguments.section("Reports");
    arguments.flag("--strict", strict, "a warning fails its input: nothing is written for it");
    arguments.flag("--json", json, "one JSON document on standard output");
    arguments.flag("--jsonl", jsonl, "one JSON object a line for each input");
    arguments.value("--progress", "WHEN", progress, readProgressMode,
                    "auto (on a terminal, when it takes long), always, never");
    arguments.flag("-q,--quiet", quiet, "errors only");
    arguments.flag("-v,--verbose", verbose, "a line for each output, and what the library has to say");
}

void ReportOptions::apply() const
{
    if (json && jsonl)
        throw UsageError("--json and --jsonl exclude each other");
    if (quiet && verbose)
        throw UsageError("--quiet and --verbose exclude each other");
    if (verbose)
        Console::setSink([](std::string_view line) { writeError(printable(line)); });
    else
        Console::setSink({});
}

} // namespace zel::program
