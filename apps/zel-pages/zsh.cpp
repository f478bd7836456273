#include "pages.h"

#include <fmt/format.h>

namespace zel::program {
namespace {

std::string quoted(const std::string& text)
{
    return "'" + escaped(text, "'", "'\\'") + "'";
}

/// ":W\:H: " of a flag that takes a value: what is asked for, and what completes it.
std::string valueOf(const Flag& flag)
{
    std::string action = " "; // nothing that could be guessed
    if (flag.takes == Flag::Takes::file)
        action = "_files";
    else if (flag.takes == Flag::Takes::folder)
        action = "_files -/";
    else if (flag.takes == Flag::Takes::word) {
        action = "(";
        for (const auto& word : flag.words)
            action += (action.size() == 1 ? "" : " ") + escaped(word, " :()\\");
        action += ')';
    }
    return fmt::format(":{}:{}", escaped(flag.value, ":\\"), action);
}

/// The flag as _arguments wants it: '(-o --output)'{-o+,--output=}'[help]:OUTPUT:_files'.
std::string specification(const Flag& flag)
{
    const bool takes = flag.takes != Flag::Takes::nothing;
    const auto named = [takes](const std::string& name) {
        return name + (!takes ? "" : name.starts_with("--") ? "=" : "+");
    };
    std::string told = '[' + escaped(flag.help, "[]\\") + ']';
    if (takes)
        told += valueOf(flag);
    const std::string times = flag.repeats ? "*" : "";
    if (flag.names.size() == 1)
        return quoted(times + named(flag.names.front()) + told);
    const auto excluded = flag.repeats ? times : fmt::format("({})", fmt::join(flag.names, " "));
    return fmt::format("'{}'{{{},{}}}{}", excluded, named(flag.names.front()), named(flag.names.back()), quoted(told));
}

std::string caseOf(const DescribedVerb& described, const std::string& allVerbs)
{
    const auto& [verb, description, first] = described;
    std::string text = fmt::format("                {})\n                    _arguments -s -S", verb.name);
    const auto add = [&text](const std::string& word) { text += " \\\n                        " + word; };
    for (const auto& group : description.groups)
        for (const auto& flag : group.flags)
            add(specification(flag));
    if (first.kind == FirstOperand::Kind::verb)
        add(quoted(fmt::format("1:verb:({})", allVerbs)));
    if (first.kind == FirstOperand::Kind::word)
        add(quoted(fmt::format("1:action:({})", fmt::join(first.words, " "))));
    if (first.filesFollow || first.kind == FirstOperand::Kind::file)
        add(quoted("*:file:_files"));
    return text + "\n                    ;;\n";
}

} // namespace

std::string zshCompletion(const std::vector<DescribedVerb>& verbs)
{
    std::string text = R"(#compdef zel
# Completion of zel for zsh, written from the program's own flags.

_zel() {
    local curcontext=$curcontext state line
    local -A opt_args
    local -a verbs=(
)";
    std::string names;
    for (const auto& [verb, description, first] : verbs) {
        text += fmt::format("        {}\n", quoted(fmt::format("{}:{}", verb.name, escaped(verb.summary, "\\"))));
        names += fmt::format("{}{}", names.empty() ? "" : " ", verb.name);
    }
    text += R"(    )
    _arguments -C '1:verb:->verb' '*::operand:->rest' && return
    case $state in
        verb) _describe -t verbs verb verbs ;;
        rest)
            case $line[1] in
)";
    for (const auto& described : verbs)
        text += caseOf(described, names);
    return text + "            esac\n            ;;\n    esac\n}\n\n_zel \"$@\"\n";
}

} // namespace zel::program
