#include "pages.h"

#include <fmt/format.h>

namespace zel::program {
namespace {

constexpr std::string_view helpers = R"(# Completion of zel for fish, written from the program's own flags.

function __zel_verb_is
    set -l words (commandline -opc)
    test (count $words) -gt 1; and test "$words[2]" = $argv[1]
end

# True where so many words stand before the one that is completed.
function __zel_words_are
    test (count (commandline -opc)) -eq $argv[1]
end

complete -c zel -f
)";

std::string quoted(std::string_view text)
{
    return "'" + escaped(text, "'\\") + "'";
}

/// Words for -a, which are split and unquoted once more.
std::string listed(const std::vector<std::string>& words)
{
    std::string list;
    for (const auto& word : words)
        list += (list.empty() ? "" : " ") + (word.find_first_of(" '\"\\$()") == word.npos ? word : quoted(word));
    return quoted(list);
}

std::string valueOf(const Flag& flag)
{
    switch (flag.takes) {
    case Flag::Takes::nothing:
        return "";
    case Flag::Takes::file:
        return " -r -F";
    case Flag::Takes::folder:
        return " -x -a '(__fish_complete_directories)'";
    case Flag::Takes::word:
        return " -x -a " + listed(flag.words);
    case Flag::Takes::text:
        break;
    }
    return " -x";
}

std::string linesOf(const DescribedVerb& described, const std::vector<std::string>& verbNames)
{
    const auto& [verb, description, first] = described;
    const auto when = [&verb = verb](std::string_view further) {
        return fmt::format("complete -c zel -n '__zel_verb_is {}{}'", verb.name, further);
    };
    std::string text = fmt::format("\n# {}\n", verb.name);
    switch (first.kind) {
    case FirstOperand::Kind::nothing:
        break;
    case FirstOperand::Kind::verb:
        text += fmt::format("{} -a {}\n", when("; and __zel_words_are 2"), listed(verbNames));
        break;
    case FirstOperand::Kind::word:
        text += fmt::format("{} -a {}\n", when("; and __zel_words_are 2"), listed(first.words));
        if (first.filesFollow)
            text += fmt::format("{} -F\n", when("; and not __zel_words_are 2"));
        break;
    case FirstOperand::Kind::file:
        text += fmt::format("{} -F\n", when(""));
        break;
    }
    for (const auto& group : description.groups)
        for (const auto& flag : group.flags) {
            text += when("");
            for (const auto& name : flag.names)
                text += name.starts_with("--") ? fmt::format(" -l {}", name.substr(2))
                                               : fmt::format(" -s {}", name.substr(1));
            text += fmt::format("{} -d {}\n", valueOf(flag), quoted(flag.help));
        }
    return text;
}

} // namespace

std::string fishCompletion(const std::vector<DescribedVerb>& verbs)
{
    std::string text(helpers);
    std::vector<std::string> names;
    for (const auto& [verb, description, first] : verbs) {
        names.emplace_back(verb.name);
        text += fmt::format("complete -c zel -n '__zel_words_are 1' -a {} -d {}\n", verb.name, quoted(verb.summary));
    }
    for (const auto& described : verbs)
        text += linesOf(described, names);
    return text;
}

} // namespace zel::program
