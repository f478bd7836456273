#include "arguments.h"
#include "cache_folders.h"
#include "common_options.h"
#include "json_documents.h"
#include "outcome.h"
#include "quantity.h"
#include "table.h"
#include "text.h"

#include <zel/platform/foundation/number_text.h>
#include <zel/platform/services/services.h>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>

namespace zel::program {
namespace {

using Json = nlohmann::ordered_json;

constexpr std::string_view examples = R"(Examples:
  zel cache stats --application photo-desk
  zel cache list thumbs --application photo-desk --json
  zel cache prune --older-than 30 --application photo-desk
  zel cache clear thumbs --application photo-desk --dry-run
)";

constexpr std::string_view notes =
    R"(A cache is a folder of pictures below the caches folder of an application
($XDG_CACHE_HOME/APPLICATION, else ~/.cache/APPLICATION), a file for each identifier.
list tells its files, stats their number and size, prune removes those that were not
written since, clear all of them. Links and the folders below are left alone.
)";

enum class Action { list, stats, prune, clear };

struct Options {
    std::vector<std::string> words;
    std::optional<std::string> application;
    std::optional<double> olderThan; ///< days
    bool all = false;
    bool dryRun = false;
    bool json = false;
    bool verbose = false;

    void declare(Arguments& arguments);
    void check(Action action) const;
    /// The caches that were named, else all of them. Throws UsageError.
    [[nodiscard]] std::vector<std::string> namesIn(const CacheFolders& folders) const;
};

void Options::declare(Arguments& arguments)
{
    constexpr double mostDays = 1e6;
    arguments.section("Caches");
    arguments.operands(words);
    arguments.text("--application", "NAME", application, "whose caches (zel)");
    arguments.value(
        "--older-than", "DAYS", olderThan, [](std::string_view text) { return readNumber(text, 0, mostDays); },
        "of prune: files that were not written for so long");
    arguments.flag("--all", all, "of clear: every cache of the application");
    arguments.flag("--dry-run", dryRun, "say what would be removed, touch nothing");
    arguments.section("Reports");
    arguments.flag("--json", json, "one JSON document on standard output");
    arguments.flag("-v,--verbose", verbose, "a line for each file that is removed");
}

void Options::check(Action action) const
{
    for (const auto& word : words)
        if (!CacheFolders::isName(word))
            throw UsageError(fmt::format("'{}' cannot be the name of a cache", word));
    if (application && !CacheFolders::isName(*application))
        throw UsageError(fmt::format("--application: '{}' cannot be the name of a folder", *application));
    if ((action == Action::prune) != olderThan.has_value())
        throw UsageError(olderThan ? "--older-than is for prune" : "prune removes what is old",
                         olderThan ? "" : "--older-than DAYS");
    if (action != Action::clear && all)
        throw UsageError("--all is for clear");
    if (action == Action::clear && all == !words.empty())
        throw UsageError(all ? "--all and names exclude each other" : "no cache",
                         all ? "" : "zel cache clear NAME, or --all");
    if (dryRun && action != Action::prune && action != Action::clear)
        throw UsageError("--dry-run is for prune and clear");
}

std::vector<std::string> Options::namesIn(const CacheFolders& folders) const
{
    return words.empty() ? folders.names() : words;
}

/// What stands in one cache, and what went.
struct Told {
    std::string name;
    std::vector<FolderFile> files, removed;
    std::optional<ZelNote> failure;
};

std::uint64_t bytesOf(const std::vector<FolderFile>& files)
{
    std::uint64_t sum = 0;
    for (const auto& file : files)
        sum += file.bytes;
    return sum;
}

Json factsOf(const Told& told, Action action)
{
    Json facts = {{"name", told.name}, {"files", told.files.size()}, {"bytes", bytesOf(told.files)}};
    if (!told.files.empty()) {
        const auto [oldest, newest] =
            std::minmax_element(told.files.begin(), told.files.end(),
                                [](const FolderFile& a, const FolderFile& b) { return a.modified < b.modified; });
        facts["oldest"] = isoText(oldest->modified);
        facts["newest"] = isoText(newest->modified);
    }
    const auto listOf = [](const std::vector<FolderFile>& files) {
        Json list = Json::array();
        for (const auto& file : files)
            list.push_back({{"file", file.name}, {"bytes", file.bytes}, {"modified", isoText(file.modified)}});
        return list;
    };
    if (action == Action::list)
        facts["items"] = listOf(told.files);
    if (action == Action::prune || action == Action::clear)
        facts["removed"] = listOf(told.removed);
    if (told.failure)
        facts["error"] = {{"code", codeName(told.failure->code)}, {"message", told.failure->message}};
    return facts;
}

std::string textOf(const std::vector<Told>& all, Action action, bool dryRun)
{
    std::vector<TableRow> rows;
    for (const auto& [name, files, removed, failure] : all) {
        if (action == Action::list)
            for (const auto& file : files)
                rows.push_back({printable(name), printable(file.name), byteText(file.bytes), isoText(file.modified)});
        else if (action == Action::stats && !failure)
            rows.push_back({printable(name), std::to_string(files.size()), byteText(bytesOf(files))});
        else if (dryRun)
            for (const auto& file : removed)
                rows.push_back({printable(name), printable(file.name), byteText(file.bytes), isoText(file.modified)});
    }
    return action == Action::stats ? tableText({"CACHE", "FILES", "SIZE"}, rows)
                                   : tableText({"CACHE", "FILE", "SIZE", "WRITTEN"}, rows);
}

Told work(const CacheFolders& folders, const std::string& name, Action action, const Options& options)
{
    Told told{name, {}, {}, {}};
    const auto cache = folders.open(name);
    if (!cache) {
        told.failure = ZelFailure::last();
        return told;
    }
    told.files = cache->files();
    if (action == Action::list || action == Action::stats)
        return told;
    const double days = action == Action::prune ? *options.olderThan : 0;
    for (const auto& file : filesToRemove(told.files, action == Action::clear, days)) {
        if (!options.dryRun && !cache->remove(file)) {
            told.failure = ZelFailure::last();
            break;
        }
        told.removed.push_back(file);
    }
    if (!options.dryRun)
        told.files = cache->files();
    return told;
}

Action takeAction(std::vector<std::string>& words)
{
    if (words.empty())
        throw UsageError("no action: list, stats, prune or clear", "zel cache stats");
    const auto word = words.front();
    words.erase(words.begin());
    return readChoice<Action>(
        word, {{"list", Action::list}, {"stats", Action::stats}, {"prune", Action::prune}, {"clear", Action::clear}});
}

int run(const Verb& verb, Words words)
{
    constexpr std::array<std::string_view, 4> names = {"list", "stats", "prune", "clear"};
    Options options;
    Arguments arguments(verb);
    options.declare(arguments);
    if (!arguments.parse(words))
        return 0;
    const auto action = takeAction(options.words);
    options.check(action);
    if (options.application)
        Folders::setApplication(*options.application);

    const CacheFolders folders(Folders::caches());
    std::vector<Told> all;
    int status = 0;
    for (const auto& name : options.namesIn(folders)) {
        const auto& told = all.emplace_back(work(folders, name, action, options));
        if (options.verbose)
            for (const auto& file : told.removed)
                writeError(printable(fmt::format("zel {}: {}/{}: {}", verb.name, name, file.name,
                                                 options.dryRun ? "would be removed" : "removed")));
        if (told.failure) {
            status = std::max(status, statusOf(told.failure->code));
            writeError(printable(fmt::format("zel {}: {}: {}", verb.name, name, told.failure->message)));
        }
    }
    if (!options.json) {
        writeOut(textOf(all, action, options.dryRun));
    } else {
        Json document = {{"version", jsonVersion},
                         {"action", names[static_cast<std::size_t>(action)]},
                         {"folder", Folders::caches().filePath().string()},
                         {"caches", Json::array()}};
        for (const auto& told : all)
            document["caches"].push_back(factsOf(told, action));
        writeOut(documentText(document));
    }
    return outputFailed() ? statusOf(ZelFailureCode::writeFailed) : status;
}

} // namespace

const Verb cacheVerb = {
    "cache",
    "Pictures that applications keep: listed, counted, removed",
    "list|stats|prune|clear [CACHE...] [flags]",
    examples,
    notes,
    run,
};

} // namespace zel::program
