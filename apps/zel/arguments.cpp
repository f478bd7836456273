#include "arguments.h"

#include "description.h"
#include "text.h"

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <fmt/format.h>

#include <algorithm>

// CLI11 splits the words; what they mean is read by our own functions, and the help is ours too: examples first.
namespace zel::program {
namespace {

/// CLI11 takes a word in brackets for a list where several words are expected; a file may be called so. Such words
/// carry this mark through it.
constexpr char bracketMark = '\x01';

std::string marked(std::string word)
{
    return word.starts_with('[') ? std::string(1, bracketMark).append(word) : word;
}

std::string unmarked(const std::string& word)
{
    return word.starts_with(bracketMark) ? word.substr(1) : word;
}

/// The long name among "-o,--output".
std::string_view longName(std::string_view names)
{
    const auto comma = names.rfind(',');
    return comma == std::string_view::npos ? names : names.substr(comma + 1);
}

std::vector<std::string> namesIn(std::string_view list)
{
    const auto comma = list.find(',');
    if (comma == std::string_view::npos)
        return {std::string(list)};
    return {std::string(list.substr(0, comma)), std::string(list.substr(comma + 1))};
}

/// What a text is that nobody reads further: the word that stands for it in the help tells.
Flag::Takes kindOf(std::string_view value)
{
    if (value.starts_with("FOLDER"))
        return Flag::Takes::folder;
    for (const std::string_view file : {"FILE", "OUTPUT", "LIST"})
        if (value.starts_with(file))
            return Flag::Takes::file;
    return Flag::Takes::text;
}

/// Where a verb's flags are to go instead of being read: set while `describe` runs.
thread_local Description* wanted = nullptr;

/// All words that a flag takes, as its own reader names them when it is given one that it does not know.
std::vector<std::string> wordsOf(const std::function<void(const std::string&)>& take)
{
    try {
        take("?");
    } catch (const UnknownWord& error) {
        return error.known();
    } catch (const UsageError&) {
    }
    return {};
}

} // namespace

struct Arguments::State {
    explicit State(const Verb& of) : verb(of) {}

    const Verb& verb;
    CLI::App app;
    Description description;
    bool help = false;

    void add(Flag flag)
    {
        if (description.groups.empty())
            description.groups.emplace_back();
        description.groups.back().flags.push_back(std::move(flag));
    }
    std::string helpText() const;
};

Arguments::Arguments(const Verb& verb) : state_(std::make_unique<State>(verb))
{
    state_->app.set_help_flag();
    state_->app.add_flag("-h,--help", state_->help);
}

Arguments::~Arguments() = default;

void Arguments::section(std::string_view title)
{
    state_->description.groups.push_back({std::string(title), {}});
}

void Arguments::operands(std::vector<std::string>& into)
{
    state_->description.takesOperands = true;
    const auto take = [&into](const CLI::results_t& words) {
        std::transform(words.begin(), words.end(), std::back_inserter(into), unmarked);
        return true;
    };
    state_->app.add_option("inputs", take)->expected(0, CLI::detail::expected_max_vector_size)->allow_extra_args();
}

void Arguments::flag(std::string_view names, bool& into, std::string_view help)
{
    state_->app.add_flag(std::string(names), into);
    state_->add({namesIn(names), {}, std::string(help)});
}

void Arguments::text(std::string_view names, std::string_view value, std::optional<std::string>& into,
                     std::string_view help)
{
    declare(names, value, help, Kind::text, [&into](const std::string& word) { into = word; });
}

void Arguments::texts(std::string_view names, std::string_view value, std::vector<std::string>& into,
                      std::string_view help)
{
    declare(names, value, help, Kind::texts, [&into](const std::string& word) { into.push_back(word); });
}

void Arguments::declare(std::string_view names, std::string_view value, std::string_view help, Kind kind,
                        std::function<void(const std::string&)> take)
{
    Flag flag{namesIn(names), std::string(value), std::string(help), Flag::Takes::text, {}, kind == Kind::texts};
    if (kind != Kind::read)
        flag.takes = kindOf(value);
    else if (wanted != nullptr)
        flag.words = wordsOf(take);
    if (!flag.words.empty())
        flag.takes = Flag::Takes::word;
    state_->add(std::move(flag));
    const std::string name(longName(names));
    const auto takeNamed = [name, take = std::move(take)](const CLI::results_t& words) {
        for (const auto& given : words) {
            const auto word = unmarked(given);
            // "-o --force" forgot its file; taking the next flag for its name would make a file called so.
            if (word.size() > 1 && word.starts_with("--"))
                throw UsageError(fmt::format("{} needs a value before {}", name, word));
            try {
                take(word);
            } catch (const UsageError& error) {
                throw UsageError(fmt::format("{}: {}", name, error.what()), error.hint());
            }
        }
        return true;
    };
    auto* const option = state_->app.add_option(std::string(names), takeNamed);
    if (kind == Kind::texts)
        option->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
}

bool Arguments::parse(Words words)
{
    if (wanted != nullptr) {
        *wanted = std::move(state_->description);
        return false;
    }
    const std::string hint = fmt::format("zel help {}", state_->verb.name);
    std::vector<std::string> reversed;
    std::transform(words.rbegin(), words.rend(), std::back_inserter(reversed), marked);
    try {
        state_->app.parse(std::move(reversed));
    } catch (const UsageError& error) {
        throw UsageError(error.what(), error.hint().empty() ? hint : error.hint());
    } catch (const CLI::ExtrasError&) {
        const auto remaining = state_->app.remaining();
        throw UsageError(fmt::format("unknown flag {}", remaining.empty() ? std::string() : remaining.front()), hint);
    } catch (const CLI::ArgumentMismatch& error) {
        const std::string_view fact = error.what();
        const bool missing = fact.find("At Most") == std::string_view::npos;
        throw UsageError(
            fmt::format("{} {}", fact.substr(0, fact.find(':')), missing ? "needs a value" : "is given twice"), hint);
    } catch (const CLI::ParseError& error) {
        throw UsageError(error.what(), hint);
    }
    if (state_->help)
        writeOut(state_->helpText());
    return !state_->help;
}

std::string Arguments::State::helpText() const
{
    std::string text =
        fmt::format("{}\nUsage: zel {} {}\n\n{}.\n", verb.examples, verb.name, verb.operands, verb.summary);
    if (!verb.notes.empty())
        text += fmt::format("\n{}", verb.notes);
    constexpr std::size_t column = 30;
    for (const auto& [title, flags] : description.groups) {
        text += title.empty() ? "\n" : fmt::format("\n{}:\n", title);
        for (const Flag& flag : flags) {
            const auto left =
                fmt::format("{}{}{}", fmt::join(flag.names, ", "), flag.value.empty() ? "" : " ", flag.value);
            text += fmt::format("  {:<{}}{}{}\n", left, column, left.size() < column ? "" : "  ", flag.help);
        }
    }
    return text;
}

Description describe(const Verb& verb)
{
    Description description;
    wanted = &description;
    try {
        verb.run(verb, {});
    } catch (...) {
        wanted = nullptr;
        throw;
    }
    wanted = nullptr;
    description.groups.push_back(
        {"Help", {Flag{{"-h", "--help"}, {}, fmt::format("what zel help {} prints", verb.name)}}});
    return description;
}

} // namespace zel::program
