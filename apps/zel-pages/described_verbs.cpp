#include "pages.h"

namespace zel::program {
namespace {

/// "check|show|replace FILE.json..." begins with a choice, "[VERB]" with a verb, "INPUT..." with a file, "ADDRESS..."
/// with what nobody can guess.
FirstOperand firstOperandOf(const Verb& verb, const Description& description)
{
    if (!description.takesOperands || verb.operands.starts_with("ADDRESS"))
        return {FirstOperand::Kind::nothing};
    auto operand = verb.operands.substr(0, verb.operands.find(' '));
    if (operand == "[VERB]")
        return {FirstOperand::Kind::verb};
    if (operand.find('|') == std::string_view::npos)
        return {};
    FirstOperand first{FirstOperand::Kind::word};
    first.filesFollow = verb.operands.find("FILE") != std::string_view::npos;
    for (auto bar = operand.find('|'); bar != std::string_view::npos; bar = operand.find('|')) {
        first.words.emplace_back(operand.substr(0, bar));
        operand.remove_prefix(bar + 1);
    }
    first.words.emplace_back(operand);
    return first;
}

} // namespace

std::vector<DescribedVerb> describedVerbs()
{
    std::vector<DescribedVerb> all;
    for (const Verb* const verb : verbs()) {
        auto description = describe(*verb);
        auto first = firstOperandOf(*verb, description);
        all.push_back({*verb, std::move(description), std::move(first)});
    }
    return all;
}

std::string escaped(std::string_view text, std::string_view special, std::string_view escape)
{
    std::string result;
    for (const char c : text) {
        if (special.find(c) != std::string_view::npos)
            result += escape;
        result += c;
    }
    return result;
}

} // namespace zel::program
