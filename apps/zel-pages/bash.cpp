#include "pages.h"

#include <fmt/format.h>

#include <map>

namespace zel::program {
namespace {

constexpr std::string_view helpers = R"(# Completion of zel for bash, written from the program's own flags.

# _zel_words PREFIX WORD...: those that begin so, quoted for the command line unless a quote is open there.
_zel_words() {
    local prefix=$1 word
    shift
    for word in "$@"; do
        [[ $word == "$prefix"* ]] || continue
        [[ -n $quote ]] || printf -v word '%q' "$word"
        COMPREPLY+=("$word")
    done
}

# _zel_files PREFIX KIND: files and folders (KIND -f), or folders alone (-d); bash quotes them.
_zel_files() {
    compopt -o filenames 2> /dev/null
    mapfile -t COMPREPLY < <(compgen "$2" -- "$1")
}

_zel() {
    local word=${COMP_WORDS[COMP_CWORD]} verb=${COMP_WORDS[1]} before='' quote='' first=$((COMP_CWORD == 2))
    ((COMP_CWORD > 1)) && before=${COMP_WORDS[COMP_CWORD - 1]}
    # bash parts "--fit=fill" into three words.
    if [[ $word == "=" ]]; then
        word=''
    elif [[ $before == "=" ]]; then
        before=${COMP_WORDS[COMP_CWORD - 2]}
    fi
    if [[ $word == [\"\']* ]]; then
        quote=${word:0:1}
        word=${word:1}
    else
        word=${word//\\ / }
    fi
    COMPREPLY=()
)";

std::string quoted(const std::string& word)
{
    return "'" + escaped(word, "'", "'\\'") + "'";
}

std::string listed(const std::vector<std::string>& words)
{
    std::string list;
    for (const auto& word : words)
        list += ' ' + quoted(word);
    return list;
}

/// What completes the value of a flag.
std::string valueAction(const Flag& flag)
{
    switch (flag.takes) {
    case Flag::Takes::word:
        return "_zel_words \"$word\"" + listed(flag.words);
    case Flag::Takes::file:
        return "_zel_files \"$word\" -f";
    case Flag::Takes::folder:
        return "_zel_files \"$word\" -d";
    default:
        return ":"; // nothing that could be guessed
    }
}

std::string caseOf(const DescribedVerb& described, const std::vector<std::string>& verbNames)
{
    const auto& [verb, description, first] = described;
    std::map<std::string, std::string> patterns; // of each action
    std::vector<std::string> flags;
    for (const auto& group : description.groups)
        for (const auto& flag : group.flags) {
            flags.insert(flags.end(), flag.names.begin(), flag.names.end());
            if (flag.takes != Flag::Takes::nothing) {
                auto& pattern = patterns[valueAction(flag)];
                pattern += fmt::format("{}{}", pattern.empty() ? "" : " | ", fmt::join(flag.names, " | "));
            }
        }
    std::string text = fmt::format("        {})\n", verb.name);
    if (!patterns.empty()) {
        text += "            case $before in\n";
        for (const auto& [action, pattern] : patterns)
            text += fmt::format("                {}) {}; return ;;\n", pattern, action);
        text += "            esac\n";
    }
    text += fmt::format("            [[ $word == -* ]] && _zel_words \"$word\"{}\n", listed(flags));
    switch (first.kind) {
    case FirstOperand::Kind::nothing:
        text += "            return\n";
        break;
    case FirstOperand::Kind::verb:
        text += fmt::format("            ((first)) && _zel_words \"$word\"{}\n            return\n", listed(verbNames));
        break;
    case FirstOperand::Kind::word:
        text += "            if ((first)) && [[ $word != -* ]]; then\n";
        text += fmt::format("                _zel_words \"$word\"{}\n                return\n            fi\n",
                            listed(first.words));
        if (!first.filesFollow)
            text += "            return\n";
        break;
    case FirstOperand::Kind::file:
        break;
    }
    return text + "            ;;\n";
}

} // namespace

std::string bashCompletion(const std::vector<DescribedVerb>& verbs)
{
    std::vector<std::string> names;
    for (const auto& described : verbs)
        names.emplace_back(described.verb.name);
    std::string text(helpers);
    text += fmt::format("    if ((COMP_CWORD == 1)); then\n        _zel_words \"$word\"{}\n        return\n    fi\n",
                        listed(names));
    text += "    case $verb in\n";
    for (const auto& described : verbs)
        text += caseOf(described, names);
    return text + "    esac\n    ((${#COMPREPLY[@]})) || _zel_files \"$word\" -f\n}\n\ncomplete -F _zel zel\n";
}

} // namespace zel::program
