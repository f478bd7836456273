#include "arguments.h"

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

/// "-o, --output" of "-o,--output".
std::string spaced(std::string_view names)
{
    std::string text(names);
    if (const auto comma = text.find(','); comma != std::string::npos)
        text.insert(comma + 1, " ");
    return text;
}

} // namespace

struct Arguments::State {
    struct Line {
        std::string left; ///< "-o, --output FILE"; empty for a section's title
        std::string right;
    };

    explicit State(const Verb& of) : verb(of) {}

    const Verb& verb;
    CLI::App app;
    std::vector<Line> lines;
    bool help = false;

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
    state_->lines.push_back({{}, std::string(title)});
}

void Arguments::operands(std::vector<std::string>& into)
{
    const auto take = [&into](const CLI::results_t& words) {
        std::transform(words.begin(), words.end(), std::back_inserter(into), unmarked);
        return true;
    };
    state_->app.add_option("inputs", take)->expected(0, CLI::detail::expected_max_vector_size)->allow_extra_args();
}

void Arguments::flag(std::string_view names, bool& into, std::string_view help)
{
    state_->app.add_flag(std::string(names), into);
    state_->lines.push_back({spaced(names), std::string(help)});
}

void Arguments::text(std::string_view names, std::string_view value, std::optional<std::string>& into,
                     std::string_view help)
{
    declare(names, value, help, [&into](const std::string& word) { into = word; });
}

void Arguments::texts(std::string_view names, std::string_view value, std::vector<std::string>& into,
                      std::string_view help)
{
    declare(
        names, value, help, [&into](const std::string& word) { into.push_back(word); }, true);
}

void Arguments::declare(std::string_view names, std::string_view value, std::string_view help,
                        std::function<void(const std::string&)> take, bool repeats)
{
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
    if (repeats)
        option->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    state_->lines.push_back({fmt::format("{} {}", spaced(names), value), std::string(help)});
}

bool Arguments::parse(Words words)
{
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
    for (const auto& [left, right] : lines) {
        if (left.empty())
            text += fmt::format("\n{}:\n", right);
        else
            text += fmt::format("  {:<{}}{}{}\n", left, column, left.size() < column ? "" : "  ", right);
    }
    return text;
}

} // namespace zel::program
